#include "hosts/macos/HttpUrlSession.h"

#include "hosts/macos/FoundationErrors.h"
#include "hosts/macos/FoundationValues.h"
#include "hosts/shared/UrlSessionExchange.h"

#include <dispatch/dispatch.h>

namespace {

using InstallerCore::HttpDelegate;
using InstallerCore::HttpResponse;
using InstallerCore::UrlSessionExchange;

HttpResponse responseFrom(NSURLResponse* response) {
    HttpResponse result;
    if (![response isKindOfClass:[NSHTTPURLResponse class]]) {
        return result;
    }
    auto* const http = static_cast<NSHTTPURLResponse*>(response);
    result.status = static_cast<int>(http.statusCode);
    NSDictionary* const fields = http.allHeaderFields;
    for (id name in fields) {
        id const value = fields[name];
        if ([name isKindOfClass:[NSString class]] && [value isKindOfClass:[NSString class]]) {
            result.headers.push_back(
                {.name = InstallerCore::toString(name), .value = InstallerCore::toString(value)});
        }
    }
    return result;
}

} // namespace

// The session keeps it, and calls it on a serial queue, until it has become invalid.
@interface KavioTransferDelegate : NSObject <NSURLSessionDataDelegate>
- (nonnull instancetype)initWithDelegate:(HttpDelegate&)delegate;
- (void)waitUntilInvalid;
@end

@implementation KavioTransferDelegate {
    std::unique_ptr<UrlSessionExchange> _exchange;
    dispatch_semaphore_t _invalid;
}

- (instancetype)initWithDelegate:(HttpDelegate&)delegate {
    self = [super init];
    if (self != nil) {
        _exchange = std::make_unique<UrlSessionExchange>(delegate);
        _invalid = dispatch_semaphore_create(0);
    }
    return self;
}

- (void)waitUntilInvalid {
    dispatch_semaphore_wait(_invalid, DISPATCH_TIME_FOREVER);
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* _Nullable))completionHandler {
    auto answer = UrlSessionExchange::Redirect::end;
    try {
        answer = _exchange->redirect(InstallerCore::toString(request.URL.absoluteString));
    } catch (...) {
        _exchange->fail();
    }
    if (answer == UrlSessionExchange::Redirect::end) {
        [task cancel];
    }
    completionHandler(answer == UrlSessionExchange::Redirect::follow ? request : nil);
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)task
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
    auto answer = HttpDelegate::Disposition::cancel;
    try {
        answer = _exchange->response(responseFrom(response));
    } catch (...) {
        _exchange->fail();
    }
    completionHandler(answer == HttpDelegate::Disposition::allow ? NSURLSessionResponseAllow
                                                                 : NSURLSessionResponseCancel);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data {
    UrlSessionExchange* const exchange = _exchange.get();
    [data enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL* stop) {
        const InstallerCore::ByteView chunk(static_cast<const std::byte*>(bytes), range.length);
        if (exchange->data(chunk) == HttpDelegate::Disposition::cancel) {
            [task cancel];
            *stop = YES;
        }
    }];
}

- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(nullable NSError*)error {
    _exchange->completed(error == nil ? std::nullopt : std::optional(InstallerCore::urlErrorCode(error)));
}

- (void)URLSession:(NSURLSession*)session didBecomeInvalidWithError:(nullable NSError*)error {
    _exchange->completed(InstallerCore::UrlErrorCode::cancelled); // if no task came to that
    dispatch_semaphore_signal(_invalid);
}

@end

namespace InstallerCore {

namespace {

class HttpUrlSessionTask final : public HttpTask {
public:
    HttpUrlSessionTask(NSURLSession* session, NSURLSessionTask* task, KavioTransferDelegate* delegate)
        : session_(session), task_(task), delegate_(delegate) {}

    HttpUrlSessionTask(const HttpUrlSessionTask&) = delete;
    HttpUrlSessionTask& operator=(const HttpUrlSessionTask&) = delete;

    ~HttpUrlSessionTask() override {
        @autoreleasepool {
            [session_ invalidateAndCancel];
            [delegate_ waitUntilInvalid];
        }
    }

    void cancel() noexcept override {
        @autoreleasepool {
            [task_ cancel];
        }
    }

private:
    NSURLSession* session_;
    NSURLSessionTask* task_;
    KavioTransferDelegate* delegate_;
};

NSTimeInterval seconds(std::chrono::milliseconds duration) {
    return std::chrono::duration<double>(duration).count();
}

NSURLSessionConfiguration* configuration(const HttpTimeouts& timeouts) {
    NSURLSessionConfiguration* const result = NSURLSessionConfiguration.ephemeralSessionConfiguration;
    result.requestCachePolicy = NSURLRequestReloadIgnoringLocalCacheData;
    result.timeoutIntervalForRequest = seconds(timeouts.idle);
    result.timeoutIntervalForResource = seconds(timeouts.whole);
    result.TLSMinimumSupportedProtocolVersion = tls_protocol_version_TLSv12;
    result.HTTPShouldSetCookies = NO;
    result.HTTPCookieStorage = nil;
    result.URLCredentialStorage = nil;
    result.URLCache = nil;
    return result;
}

NSURLRequest* requestFrom(const HttpRequest& request, const HttpTimeouts& timeouts) {
    NSURL* const url = toNSURL(request.url);
    if (url == nil || !UrlSessionExchange::isSecure(request.url)) {
        throw PlatformError(UrlErrorCode::badServerResponse);
    }
    NSMutableURLRequest* const result =
        [NSMutableURLRequest requestWithURL:url
                                cachePolicy:NSURLRequestReloadIgnoringLocalCacheData
                            timeoutInterval:seconds(timeouts.idle)];
    for (const HttpHeader& header : request.headers) {
        NSString* const name = fromUtf8(header.name);
        NSString* const value = fromUtf8(header.value);
        if (name == nil || value == nil) {
            throw PlatformError(UrlErrorCode::unknown);
        }
        [result setValue:value forHTTPHeaderField:name];
    }
    return result;
}

} // namespace

std::unique_ptr<HttpTask> HttpUrlSession::start(HttpRequest request, HttpDelegate& delegate) {
    @autoreleasepool {
        NSURLRequest* const urlRequest = requestFrom(request, timeouts_);
        KavioTransferDelegate* const receiver = [[KavioTransferDelegate alloc] initWithDelegate:delegate];
        NSOperationQueue* const queue = [[NSOperationQueue alloc] init];
        queue.maxConcurrentOperationCount = 1;
        queue.qualityOfService = NSQualityOfServiceUserInitiated; // of its own it would be for the background
        NSURLSession* const session = [NSURLSession sessionWithConfiguration:configuration(timeouts_)
                                                                    delegate:receiver
                                                               delegateQueue:queue];
        NSURLSessionDataTask* const task = [session dataTaskWithRequest:urlRequest];
        auto result = std::make_unique<HttpUrlSessionTask>(session, task, receiver);
        [task resume];
        return result;
    }
}

} // namespace InstallerCore
