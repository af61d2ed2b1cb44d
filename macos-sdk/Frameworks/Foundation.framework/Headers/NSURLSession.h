#pragma once

#include <Foundation/NSDate.h>
#include <Foundation/NSObject.h>
#include <Foundation/NSURLRequest.h>
#include <Security/SecProtocolTypes.h>

@class NSData;
@class NSError;
@class NSHTTPCookieStorage;
@class NSHTTPURLResponse;
@class NSOperationQueue;
@class NSURLCache;
@class NSURLCredentialStorage;
@class NSURLResponse;

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, NSURLSessionResponseDisposition) {
    NSURLSessionResponseCancel = 0,
    NSURLSessionResponseAllow = 1,
} API_AVAILABLE(macos(10.9));

API_AVAILABLE(macos(10.9))
@interface NSURLSessionConfiguration : NSObject <NSCopying>
@property(class, readonly, strong) NSURLSessionConfiguration* ephemeralSessionConfiguration;
@property NSURLRequestCachePolicy requestCachePolicy;
@property NSTimeInterval timeoutIntervalForRequest;
@property NSTimeInterval timeoutIntervalForResource;
@property tls_protocol_version_t TLSMinimumSupportedProtocolVersion API_AVAILABLE(macos(10.15));
@property BOOL HTTPShouldSetCookies;
@property(nullable, retain) NSHTTPCookieStorage* HTTPCookieStorage;
@property(nullable, retain) NSURLCredentialStorage* URLCredentialStorage;
@property(nullable, retain) NSURLCache* URLCache;
@end

API_AVAILABLE(macos(10.9))
@interface NSURLSessionTask : NSObject <NSCopying>
- (void)cancel;
- (void)resume;
@end

API_AVAILABLE(macos(10.9))
@interface NSURLSessionDataTask : NSURLSessionTask
@end

@protocol NSURLSessionDelegate;

API_AVAILABLE(macos(10.9))
@interface NSURLSession : NSObject
+ (NSURLSession*)sessionWithConfiguration:(NSURLSessionConfiguration*)configuration
                                 delegate:(nullable id<NSURLSessionDelegate>)delegate
                            delegateQueue:(nullable NSOperationQueue*)queue;
- (NSURLSessionDataTask*)dataTaskWithRequest:(NSURLRequest*)request;
- (void)invalidateAndCancel;
@end

API_AVAILABLE(macos(10.9))
@protocol NSURLSessionDelegate <NSObject>
@optional
- (void)URLSession:(NSURLSession*)session didBecomeInvalidWithError:(nullable NSError*)error;
@end

API_AVAILABLE(macos(10.9))
@protocol NSURLSessionTaskDelegate <NSURLSessionDelegate>
@optional
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* _Nullable))completionHandler;
- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(nullable NSError*)error;
@end

API_AVAILABLE(macos(10.9))
@protocol NSURLSessionDataDelegate <NSURLSessionTaskDelegate>
@optional
- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)task
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition disposition))completionHandler;
- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data;
@end

NS_ASSUME_NONNULL_END
