#pragma once

#include "InstallerCore/platform/Http.h"
#include "hosts/linux/HttpHeaderBlock.h"

#include <curl/curl.h>

#include <chrono>
#include <optional>

namespace InstallerCore {

// One request and its answer on an easy handle: turns what libcurl calls back into the delegate's calls and
// finds out whether the answer leads on to another address. Lives on the transfer's thread.
class HttpCurlExchange {
public:
    // The handle and the delegate must outlive the object.
    HttpCurlExchange(CURL* handle, const Url& url, HttpDelegate& delegate);
    HttpCurlExchange(const HttpCurlExchange&) = delete;
    HttpCurlExchange& operator=(const HttpCurlExchange&) = delete;

    // Where the delegate agreed to be redirected to.
    [[nodiscard]] const std::optional<Url>& next() const noexcept { return next_; }

    // The delegate wants no more.
    [[nodiscard]] bool abandoned() const noexcept { return abandoned_; }

    // The delegate has been given the response; its body may still be coming.
    [[nodiscard]] bool responded() const noexcept { return responded_; }

    // Of an answer that is complete: it says itself where it ends; else the end of the connection does.
    [[nodiscard]] bool endIsMarked() const;

    // The answer makes no sense.
    [[nodiscard]] bool malformed() const noexcept { return malformed_; }

    // There was no memory for the answer.
    [[nodiscard]] bool failed() const noexcept { return failed_; }

    // Counts up with each thing that arrives.
    [[nodiscard]] std::uint64_t arrivals() const noexcept { return arrivals_; }

private:
    static constexpr std::size_t largestHeader = 262'144; // bytes, of all lines

    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* exchange) noexcept;
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* exchange) noexcept;

    // Runs a step that says whether to go on. No exception may pass through libcurl.
    template <typename Step>
    std::size_t guarded(std::size_t length, Step step) noexcept;

    // Each says whether to go on.
    bool takeHeaderLine(std::string_view line);
    bool takeAnswer(int status);
    bool takeBody(ByteView chunk);
    bool followsRedirect(int status);

    CURL* handle_;
    const Url& url_;
    HttpDelegate& delegate_;
    HttpHeaderBlock header_;
    std::optional<Url> next_;
    bool responded_ = false;
    bool abandoned_ = false;
    bool malformed_ = false;
    bool failed_ = false;
    std::size_t headerSize_ = 0;
    std::uint64_t arrivals_ = 0;
};

} // namespace InstallerCore
