#include "hosts/linux/HttpCurlTask.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/CurlError.h"
#include "hosts/linux/HttpCurl.h"
#include "hosts/linux/HttpCurlExchange.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <system_error>

namespace InstallerCore {

namespace {

using SteadyClock = std::chrono::steady_clock;

// The handle is part of the multi handle while this lives.
class Attachment {
public:
    Attachment(CURLM* multi, CURL* handle) : multi_(multi), handle_(handle) {
        if (curl_multi_add_handle(multi, handle) != CURLM_OK) {
            throw std::bad_alloc();
        }
    }

    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

    ~Attachment() { curl_multi_remove_handle(multi_, handle_); }

private:
    CURLM* multi_;
    CURL* handle_;
};

} // namespace

HttpCurlTask::HttpCurlTask(CurlEasy handle, CurlList headers, Url url, HttpTimeouts timeouts,
                           HttpDelegate& delegate)
    : headers_(std::move(headers)),
      handle_(std::move(handle)),
      multi_(curl_multi_init()),
      url_(std::move(url)),
      timeouts_(timeouts),
      delegate_(delegate),
      start_(SteadyClock::now()),
      lastByte_(start_) {
    if (!multi_) {
        throw std::bad_alloc();
    }
    try {
        thread_ = std::thread(&HttpCurlTask::work, this);
    } catch (const std::system_error&) {
        throw PlatformError(UrlErrorCode::unknown);
    }
}

HttpCurlTask::~HttpCurlTask() {
    cancel();
    thread_.join();
}

void HttpCurlTask::cancel() noexcept {
    cancelled_ = true;
    curl_multi_wakeup(multi_.get());
}

void HttpCurlTask::work() noexcept {
    // No signal of the process is this thread's business.
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);

    std::exception_ptr error;
    try {
        followRedirects();
    } catch (const PlatformError&) {
        error = std::current_exception();
    } catch (...) { // want of memory
        error = std::make_exception_ptr(PlatformError(UrlErrorCode::unknown));
    }
    delegate_.completed(error);
}

void HttpCurlTask::followRedirects() {
    for (int redirects = 0; redirects <= HttpCurl::mostRedirects; ++redirects) {
        HttpCurlExchange current(handle_.get(), url_, delegate_);
        exchange(current);
        if (!current.next()) {
            return;
        }
        url_ = Url(*current.next());
    }
    throw PlatformError(UrlErrorCode::tooManyRedirects);
}

// Returns when the answer was received whole, or leads on.
void HttpCurlTask::exchange(HttpCurlExchange& exchange) {
    goodbye_.listenOn(handle_.get());
    const CURLcode code = perform(exchange);
    if (exchange.next()) {
        return;
    }
    if (exchange.abandoned()) {
        throw PlatformError(UrlErrorCode::cancelled);
    }
    if (exchange.failed()) {
        throw PlatformError(UrlErrorCode::unknown);
    }
    if (exchange.malformed()) {
        throw PlatformError(UrlErrorCode::badServerResponse);
    }
    if (code != CURLE_OK) {
        throw urlError(code);
    }
    if (!exchange.responded()) {
        throw PlatformError(UrlErrorCode::connectionLost); // within the header; no error to libcurl
    }
    if (!exchange.endIsMarked() && !goodbye_.isReceived()) { // it may have been cut
        throw PlatformError(UrlErrorCode::connectionLost);
    }
}

CURLcode HttpCurlTask::perform(const HttpCurlExchange& exchange) {
    const Attachment attachment(multi_.get(), handle_.get());
    std::uint64_t arrivals = 0;
    while (true) {
        int running = 0;
        if (curl_multi_perform(multi_.get(), &running) != CURLM_OK) {
            throw PlatformError(UrlErrorCode::unknown);
        }
        int queued = 0;
        if (const CURLMsg* message = curl_multi_info_read(multi_.get(), &queued)) {
            return message->data.result;
        }
        if (exchange.next()) {
            return CURLE_OK; // nobody waits for the redirect's own body
        }
        if (exchange.arrivals() != arrivals) {
            arrivals = exchange.arrivals();
            lastByte_ = SteadyClock::now();
        }
        checkTime();
        wait();
    }
}

// Throws when the transfer may not go on.
void HttpCurlTask::checkTime() const {
    if (cancelled_) {
        throw PlatformError(UrlErrorCode::cancelled);
    }
    const TimePoint now = SteadyClock::now();
    if (now - lastByte_ >= timeouts_.idle || now - start_ >= timeouts_.whole) {
        throw PlatformError(UrlErrorCode::timedOut);
    }
}

void HttpCurlTask::wait() {
    const TimePoint deadline = std::min(lastByte_ + timeouts_.idle, start_ + timeouts_.whole);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
    int ready = 0;
    constexpr std::int64_t longestWait = 60'000;
    const auto timeout = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, longestWait));
    if (curl_multi_poll(multi_.get(), nullptr, 0, timeout, &ready) != CURLM_OK) {
        throw PlatformError(UrlErrorCode::unknown);
    }
    if (ready > 0) {
        lastByte_ = SteadyClock::now(); // also while a header line or a handshake is incomplete
    }
}

} // namespace InstallerCore
