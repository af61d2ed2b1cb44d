#include "hosts/linux/HttpCurlExchange.h"

#include "InstallerCore/support/Ascii.h"
#include "hosts/linux/CurlHandles.h"

#include <algorithm>
#include <array>

namespace InstallerCore {

namespace {

// Another answer follows. Behind 101, which nobody asked for, it does not.
bool isInterim(int status) {
    return status >= 100 && status < 200 && status != 101;
}

bool isRedirect(int status) {
    constexpr std::array redirects = {301, 302, 303, 307, 308};
    return std::find(redirects.begin(), redirects.end(), status) != redirects.end();
}

// The last transfer coding is the one that says where the body ends.
bool endsInChunks(const HttpResponse& answer) {
    std::string codings = answer.header("Transfer-Encoding").value_or("");
    std::transform(codings.begin(), codings.end(), codings.begin(), Ascii::lowerCase);
    return codings.ends_with("chunked");
}

} // namespace

HttpCurlExchange::HttpCurlExchange(CURL* handle, const Url& url, HttpDelegate& delegate)
    : handle_(handle), url_(url), delegate_(delegate) {
    setOption(handle, CURLOPT_URL, url.text().c_str());
    setOption(handle, CURLOPT_HEADERFUNCTION, &HttpCurlExchange::onHeader);
    setOption(handle, CURLOPT_HEADERDATA, this);
    setOption(handle, CURLOPT_WRITEFUNCTION, &HttpCurlExchange::onBody);
    setOption(handle, CURLOPT_WRITEDATA, this);
}

// Taking less than there is makes libcurl end the transfer.
template <typename Step>
std::size_t HttpCurlExchange::guarded(std::size_t length, Step step) noexcept {
    try {
        return step() ? length : 0;
    } catch (...) {
        failed_ = true;
        return 0;
    }
}

std::size_t HttpCurlExchange::onHeader(char* data, std::size_t size, std::size_t count,
                                       void* exchange) noexcept {
    auto& self = *static_cast<HttpCurlExchange*>(exchange);
    const std::string_view line(data, size * count);
    return self.guarded(line.size(), [&] { return self.takeHeaderLine(line); });
}

std::size_t HttpCurlExchange::onBody(char* data, std::size_t size, std::size_t count,
                                     void* exchange) noexcept {
    auto& self = *static_cast<HttpCurlExchange*>(exchange);
    const std::string_view chunk(data, size * count);
    return self.guarded(chunk.size(), [&] { return self.takeBody(asBytes(chunk)); });
}

bool HttpCurlExchange::takeHeaderLine(std::string_view line) {
    ++arrivals_;
    headerSize_ += line.size();
    if (headerSize_ > largestHeader) {
        malformed_ = true; // it has no end that anybody would wait for
        return false;
    }
    if (responded_ || next_) {
        return true; // a trailer behind the body
    }
    if (!header_.add(line)) {
        return true;
    }
    long status = 0;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    return takeAnswer(static_cast<int>(status));
}

bool HttpCurlExchange::takeAnswer(int status) {
    if (isInterim(status) || followsRedirect(status)) {
        return true;
    }
    responded_ = true;
    const HttpResponse response{.status = status, .headers = header_.headers()};
    abandoned_ = delegate_.response(response) == HttpDelegate::Disposition::cancel;
    return !abandoned_;
}

bool HttpCurlExchange::endIsMarked() const {
    constexpr long noContent = 204;
    constexpr long notModified = 304;
    long status = 0;
    long version = CURL_HTTP_VERSION_NONE;
    curl_off_t length = -1; // unknown
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(handle_, CURLINFO_HTTP_VERSION, &version);
    curl_easy_getinfo(handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const HttpResponse answer{.status = static_cast<int>(status), .headers = header_.headers()};
    return length >= 0 || version >= CURL_HTTP_VERSION_2_0 || endsInChunks(answer) || status == noContent ||
           status == notModified;
}

bool HttpCurlExchange::followsRedirect(int status) {
    const HttpResponse answer{.status = status, .headers = header_.headers()};
    const auto location = isRedirect(status) ? answer.header("Location") : std::nullopt;
    if (!location) {
        return false;
    }
    const auto reference = Url::parse(*location);
    auto address = reference ? url_.resolve(*reference) : std::nullopt;
    const HttpDelegate::Disposition disposition = delegate_.redirect(address ? address->text() : "");
    if (disposition == HttpDelegate::Disposition::cancel || !address) {
        return false;
    }
    next_ = std::move(address);
    return true;
}

bool HttpCurlExchange::takeBody(ByteView chunk) {
    ++arrivals_;
    if (next_) {
        return true;
    }
    if (!responded_) {
        malformed_ = true; // libcurl saw an end of the header where there was none
        return false;
    }
    abandoned_ = delegate_.data(chunk) == HttpDelegate::Disposition::cancel;
    return !abandoned_;
}

} // namespace InstallerCore
