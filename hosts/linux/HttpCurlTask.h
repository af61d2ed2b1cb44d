#pragma once

#include "InstallerCore/platform/Http.h"
#include "hosts/linux/CurlHandles.h"
#include "hosts/linux/TlsGoodbye.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace InstallerCore {

class HttpCurlExchange;

// A transfer on a thread of its own, from the first request over all redirects to completed().
class HttpCurlTask final : public HttpTask {
public:
    // Takes the prepared handle, with the header list that it refers to, and starts.
    HttpCurlTask(CurlEasy handle, CurlList headers, Url url, HttpTimeouts timeouts, HttpDelegate& delegate);
    HttpCurlTask(const HttpCurlTask&) = delete;
    HttpCurlTask& operator=(const HttpCurlTask&) = delete;
    ~HttpCurlTask() override;

    void cancel() noexcept override;

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    void work() noexcept;
    void followRedirects();
    void exchange(HttpCurlExchange& exchange);
    [[nodiscard]] CURLcode perform(const HttpCurlExchange& exchange);
    void wait();
    void checkTime() const;

    TlsGoodbye goodbye_;
    CurlList headers_;
    CurlEasy handle_;
    CurlMulti multi_;
    Url url_;
    HttpTimeouts timeouts_;
    HttpDelegate& delegate_;
    std::atomic<bool> cancelled_ = false;
    TimePoint start_;
    TimePoint lastByte_;
    std::thread thread_; // last, so that it sees all the others
};

} // namespace InstallerCore
