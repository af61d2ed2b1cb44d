#include "tests/hosts/linux/HttpCurlFixture.h"

namespace InstallerCore::Testing {

// One call of the delegate, while it runs.
class RecordingDelegate::Call {
public:
    Call(RecordingDelegate& delegate, const std::string& name) : delegate_(delegate) {
        EXPECT_FALSE(delegate_.inside_.exchange(true)) << name << " came during another call";
        EXPECT_FALSE(delegate_.completed_) << name << " came after the end";
        const auto thread = std::this_thread::get_id();
        EXPECT_EQ(delegate_.thread_.value_or(thread), thread) << name << " came on another thread";
        delegate_.thread_ = thread;
        if (name != "data" || delegate_.calls.empty() || delegate_.calls.back() != name) {
            delegate_.calls.push_back(name);
        }
    }

    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    ~Call() { delegate_.inside_ = false; }

private:
    RecordingDelegate& delegate_;
};

HttpDelegate::Disposition RecordingDelegate::redirect(const std::string& address) {
    const Call call(*this, "redirect " + address);
    return onRedirect ? onRedirect(address) : Disposition::allow;
}

HttpDelegate::Disposition RecordingDelegate::response(const HttpResponse& response) {
    const Call call(*this, "response " + std::to_string(response.status.value_or(-1)));
    answer = response;
    return onResponse ? onResponse(response) : Disposition::allow;
}

HttpDelegate::Disposition RecordingDelegate::data(ByteView chunk) {
    const Call call(*this, "data");
    EXPECT_FALSE(chunk.empty());
    body += asText(chunk);
    return onData ? onData(chunk) : Disposition::allow;
}

void RecordingDelegate::completed(std::exception_ptr error) {
    {
        const Call call(*this, "completed");
        try {
            if (error) {
                std::rethrow_exception(error);
            }
        } catch (const PlatformError& failure) {
            EXPECT_EQ(failure.domain(), ErrorDomain::urlLoading);
            errorCode = failure.code();
        }
        completed_ = true;
    }
    done_.signal();
}

void RecordingDelegate::await() {
    constexpr std::chrono::minutes patience(1); // reached only by a test that fails
    ASSERT_TRUE(done_.waitFor(patience)) << "the transfer does not end";
}

const std::vector<std::string> HttpCurlFixture::hosts = {"dist.test", "mykavio.test"};

HttpCurlFixture::HttpCurlFixture() {
    Rehearsal::writePrivateFile(directory / "authority.pem", authority.certificate());
}

Rehearsal::LoopbackHttp HttpCurlFixture::transport(std::uint16_t port, HttpTimeouts waiting) const {
    return {hosts, port, directory / "authority.pem", waiting};
}

HttpRequest HttpCurlFixture::request(const std::string& path, std::vector<HttpHeader> headers) {
    return {.url = Url::parse("https://dist.test/" + path).value(), .headers = std::move(headers)};
}

void HttpCurlFixture::fetchBy(Http& http, const std::string& path, std::vector<HttpHeader> headers) {
    const auto task = http.start(request(path, std::move(headers)), delegate);
    delegate.await();
}

void HttpCurlFixture::fetch(const std::string& path, std::vector<HttpHeader> headers) {
    auto http = transport(server.port(), timeouts);
    fetchBy(http, path, std::move(headers));
}

std::string okResponse(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string redirectTo(const std::string& address) {
    return "HTTP/1.1 302 Found\r\nLocation: " + address + "\r\nContent-Length: 0\r\n\r\n";
}

} // namespace InstallerCore::Testing
