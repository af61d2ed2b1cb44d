#include "tests/support/FakeHttp.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>

namespace InstallerCore::Testing {

namespace {

using Disposition = HttpDelegate::Disposition;

class FakeTask final : public HttpTask {
public:
    FakeTask(FakeExchange exchange, HttpDelegate& delegate)
        : exchange_(std::move(exchange)), delegate_(delegate), thread_([this] { play(); }) {}

    FakeTask(const FakeTask&) = delete;
    FakeTask& operator=(const FakeTask&) = delete;

    ~FakeTask() override {
        cancel();
        thread_.join();
    }

    void cancel() noexcept override {
        const std::lock_guard guard(lock_);
        cancelled_ = true;
        changed_.notify_all();
    }

private:
    void play() {
        const bool whole = playAnswer();
        if (exchange_.beforeEnd) {
            exchange_.beforeEnd();
        }
        if (!whole) {
            delegate_.completed(std::make_exception_ptr(PlatformError(UrlErrorCode::cancelled)));
        } else if (exchange_.error) {
            delegate_.completed(std::make_exception_ptr(PlatformError(*exchange_.error)));
        } else {
            delegate_.completed(nullptr);
        }
    }

    // False when the delegate or the task's owner ended it.
    bool playAnswer() {
        for (const std::string& address : exchange_.redirects) {
            if (delegate_.redirect(address) == Disposition::cancel) {
                break;
            }
        }
        if (exchange_.beforeResponse) {
            exchange_.beforeResponse();
        }
        if (exchange_.response && delegate_.response(*exchange_.response) == Disposition::cancel) {
            return false;
        }
        for (const std::string& chunk : exchange_.chunks) {
            if (delegate_.data(asBytes(chunk)) == Disposition::cancel) {
                return false;
            }
        }
        return !exchange_.silentUntilCancelled || !waitForCancel();
    }

    bool waitForCancel() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return cancelled_; });
        return true;
    }

    FakeExchange exchange_;
    HttpDelegate& delegate_;
    std::mutex lock_;
    std::condition_variable changed_;
    bool cancelled_ = false;
    std::thread thread_;
};

} // namespace

FakeHttp::~FakeHttp() {
    EXPECT_TRUE(exchanges_.empty()) << exchanges_.size() << " expected requests were never made";
}

void FakeHttp::expect(FakeExchange exchange) {
    const std::lock_guard guard(lock_);
    exchanges_.push_back(std::move(exchange));
}

void FakeHttp::forgetExpected() {
    const std::lock_guard guard(lock_);
    exchanges_.clear();
}

std::vector<HttpRequest> FakeHttp::requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
}

std::unique_ptr<HttpTask> FakeHttp::start(HttpRequest request, HttpDelegate& delegate) {
    const std::lock_guard guard(lock_);
    requests_.push_back(std::move(request));
    FakeExchange exchange{.error = UrlErrorCode::unknown};
    if (exchanges_.empty()) {
        ADD_FAILURE() << "a request that was not expected";
    } else {
        exchange = std::move(exchanges_.front());
        exchanges_.pop_front();
    }
    return std::make_unique<FakeTask>(std::move(exchange), delegate);
}

std::optional<std::string> headerOf(const HttpRequest& request, std::string_view name) {
    return HttpResponse{.status = std::nullopt, .headers = request.headers}.header(name);
}

} // namespace InstallerCore::Testing
