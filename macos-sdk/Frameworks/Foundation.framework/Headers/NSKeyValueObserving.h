#pragma once

#include <Foundation/NSObject.h>

@class NSDictionary<KeyType, ObjectType>;
@class NSString;

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSKeyValueChangeKey;

typedef NS_OPTIONS(NSUInteger, NSKeyValueObservingOptions) {
    NSKeyValueObservingOptionNew = 0x01,
    NSKeyValueObservingOptionInitial API_AVAILABLE(macos(10.5)) = 0x04,
} API_AVAILABLE(macos(10.0));

@interface NSObject (NSKeyValueObserving)
- (void)observeValueForKeyPath:(nullable NSString*)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(nullable void*)context API_AVAILABLE(macos(10.0));
@end

@interface NSObject (NSKeyValueObserverRegistration)
- (void)addObserver:(NSObject*)observer
         forKeyPath:(NSString*)keyPath
            options:(NSKeyValueObservingOptions)options
            context:(nullable void*)context API_AVAILABLE(macos(10.0));
- (void)removeObserver:(NSObject*)observer
            forKeyPath:(NSString*)keyPath
               context:(nullable void*)context API_AVAILABLE(macos(10.7));
@end

NS_ASSUME_NONNULL_END
