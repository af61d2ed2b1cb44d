#pragma once

#include <Foundation/NSObject.h>

@class NSString;

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSErrorDomain;

FOUNDATION_EXPORT NSErrorDomain const NSCocoaErrorDomain API_AVAILABLE(macos(10.0));
FOUNDATION_EXPORT NSErrorDomain const NSPOSIXErrorDomain API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSError : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end

NS_ASSUME_NONNULL_END
