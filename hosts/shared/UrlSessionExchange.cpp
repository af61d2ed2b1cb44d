#include "hosts/shared/UrlSessionExchange.h"

#include "InstallerCore/support/Ascii.h"

#include <algorithm>
#include <exception>
#include <string_view>

namespace InstallerCore {

bool UrlSessionExchange::isSecure(const Url& address) {
    constexpr std::string_view https = "https";
    return address.scheme() && std::ranges::equal(*address.scheme(), https, {}, Ascii::lowerCase);
}

bool UrlSessionExchange::goesOn(bool inOrder) noexcept {
    if (!isOver() && !inOrder) {
        end(UrlErrorCode::badServerResponse);
    }
    return !isOver();
}

UrlSessionExchange::Redirect UrlSessionExchange::redirect(const std::string& address) {
    if (!goesOn(!responded_)) {
        return Redirect::end;
    }
    if (delegate_.redirect(address) == HttpDelegate::Disposition::cancel || address.empty()) {
        return Redirect::refuse;
    }
    if (const auto url = Url::parse(address); !url || !isSecure(*url)) {
        end(UrlErrorCode::badServerResponse);
    } else if (++redirects_ > mostRedirects) {
        end(UrlErrorCode::tooManyRedirects);
    }
    return isOver() ? Redirect::end : Redirect::follow;
}

HttpDelegate::Disposition UrlSessionExchange::response(const HttpResponse& response) noexcept {
    if (!goesOn(!responded_)) { // a body of several parts brings one for each
        return HttpDelegate::Disposition::cancel;
    }
    responded_ = true;
    const auto disposition = delegate_.response(response);
    if (disposition == HttpDelegate::Disposition::cancel) {
        end(UrlErrorCode::cancelled);
    }
    return disposition;
}

HttpDelegate::Disposition UrlSessionExchange::data(ByteView chunk) noexcept {
    if (!goesOn(responded_)) {
        return HttpDelegate::Disposition::cancel;
    }
    if (chunk.empty()) {
        return HttpDelegate::Disposition::allow;
    }
    const auto disposition = delegate_.data(chunk);
    if (disposition == HttpDelegate::Disposition::cancel) {
        end(UrlErrorCode::cancelled);
    }
    return disposition;
}

void UrlSessionExchange::completed(std::optional<UrlErrorCode> error) noexcept {
    if (completed_) {
        return;
    }
    completed_ = true;
    if (ending_) {
        error = ending_;
    } else if (!error && !responded_) {
        error = UrlErrorCode::connectionLost;
    }
    delegate_.completed(error ? std::make_exception_ptr(PlatformError(*error)) : nullptr);
}

} // namespace InstallerCore
