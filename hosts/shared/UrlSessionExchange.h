#pragma once

#include "InstallerCore/platform/Http.h"
#include "InstallerCore/support/PlatformError.h"

#include <optional>

namespace InstallerCore {

// Between a system's URL session, which follows redirects by itself once it may, and the owner of one
// transfer: passes on what the session reports, keeps the promises of HttpDelegate whatever the session
// reports, and says what the session is to do. One call at a time.
class UrlSessionExchange {
public:
    static constexpr int mostRedirects = 20;

    // The delegate must outlive the last call.
    explicit UrlSessionExchange(HttpDelegate& delegate) : delegate_(delegate) {}

    UrlSessionExchange(const UrlSessionExchange&) = delete;
    UrlSessionExchange& operator=(const UrlSessionExchange&) = delete;

    // Whether the address may be fetched at all: by https.
    [[nodiscard]] static bool isSecure(const Url& address);

    enum class Redirect {
        follow,
        refuse, // make the redirect itself the response
        end,    // cancel the task
    };

    // The address that the session would go to next, empty when it has none.
    [[nodiscard]] Redirect redirect(const std::string& address);

    // After a cancel the task is to be cancelled.
    [[nodiscard]] HttpDelegate::Disposition response(const HttpResponse& response) noexcept;
    [[nodiscard]] HttpDelegate::Disposition data(ByteView chunk) noexcept;

    // The session's error, when the task had one. What is reported afterwards is ignored.
    void completed(std::optional<UrlErrorCode> error) noexcept;

    // For want of memory, in a call of these or before one; the task is to be cancelled.
    void fail() noexcept { end(UrlErrorCode::unknown); }

private:
    [[nodiscard]] bool isOver() const { return ending_.has_value() || completed_; }

    // Whether the transfer is to go on, which it is not after a call out of order.
    [[nodiscard]] bool goesOn(bool inOrder) noexcept;

    // The first reason counts.
    void end(UrlErrorCode reason) noexcept { ending_ = ending_.value_or(reason); }

    HttpDelegate& delegate_;
    int redirects_ = 0;
    bool responded_ = false;
    bool completed_ = false;
    std::optional<UrlErrorCode> ending_; // why the transfer ends before the session says so
};

} // namespace InstallerCore
