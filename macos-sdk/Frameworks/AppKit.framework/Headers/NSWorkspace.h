#pragma once

#include <Foundation/NSObject.h>

@class NSError;
@class NSRunningApplication;
@class NSURL;
@class NSWorkspaceOpenConfiguration;

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.0))
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(nullable void (^)(NSRunningApplication* _Nullable application,
                                                NSError* _Nullable error))completionHandler
    API_AVAILABLE(macos(10.15));
@end

API_AVAILABLE(macos(10.15))
@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
@property BOOL activates;
+ (instancetype)configuration;
@end

NS_ASSUME_NONNULL_END
