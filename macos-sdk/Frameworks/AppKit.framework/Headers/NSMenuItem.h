#pragma once

#include <AppKit/AppKitDefines.h>
#include <Foundation/Foundation.h>

@class NSMenu;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSMenuItem : NSObject <NSCopying, NSCoding>
@property(nullable, strong) NSMenu* submenu;
@end

NS_ASSUME_NONNULL_END
