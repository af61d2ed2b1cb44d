#include "InstallerCore/support/Url.h"

#include "InstallerCore/support/UrlGrammar.h"

#include <algorithm>
#include <utility>

namespace InstallerCore {

namespace {

// The directory of the base's path with the reference's path behind it (RFC 3986, section 5.2.3).
std::string mergedPath(const Url& base, const std::string& reference) {
    if (base.host() && base.path().empty()) {
        return "/" + reference;
    }
    const std::size_t slash = base.path().rfind('/');
    return slash == std::string::npos ? reference : base.path().substr(0, slash + 1) + reference;
}

std::string authorityOf(const Url& url) {
    if (!url.host()) {
        return {};
    }
    std::string text = "//";
    if (url.userInfo()) {
        text += *url.userInfo() + "@";
    }
    text += *url.host();
    if (url.port()) {
        text += ":" + *url.port();
    }
    return text;
}

std::string resolvedPath(const Url& base, const Url& reference) {
    if (reference.host() || reference.path().starts_with('/')) {
        return UrlGrammar::removeDotSegments(reference.path());
    }
    if (reference.path().empty()) {
        return base.path();
    }
    return UrlGrammar::removeDotSegments(mergedPath(base, reference.path()));
}

const std::optional<std::string>& resolvedQuery(const Url& base, const Url& reference) {
    const bool isBase = !reference.host() && reference.path().empty() && !reference.query();
    return isBase ? base.query() : reference.query();
}

} // namespace

std::optional<Url> Url::parse(std::string_view text) {
    Url url;
    url.text_ = text;
    if (const std::size_t hash = text.find('#'); hash != std::string_view::npos) {
        url.fragment_ = text.substr(hash + 1);
        text = text.substr(0, hash);
    }
    if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
        url.query_ = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    // A ":" before any "/" ends a scheme: the first segment of a relative path may not hold one.
    if (const std::size_t colon = text.substr(0, text.find('/')).find(':'); colon != std::string_view::npos) {
        url.scheme_ = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        const std::size_t slash = std::min(text.find('/'), text.size());
        if (!url.parseAuthority(text.substr(0, slash))) {
            return std::nullopt;
        }
        text.remove_prefix(slash);
    }
    url.path_ = text;
    const bool valid = (!url.scheme_ || UrlGrammar::isScheme(*url.scheme_)) &&
                       UrlGrammar::isPath(url.path_) &&
                       (!url.query_ || UrlGrammar::isQueryOrFragment(*url.query_)) &&
                       (!url.fragment_ || UrlGrammar::isQueryOrFragment(*url.fragment_));
    return valid ? std::optional(std::move(url)) : std::nullopt;
}

bool Url::parseAuthority(std::string_view authority) {
    if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
        userInfo_ = authority.substr(0, at);
        authority.remove_prefix(at + 1);
    }
    // The colons of an address in brackets are its own.
    const std::size_t bracket = authority.find(']');
    const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    if (colon != std::string_view::npos) {
        port_ = authority.substr(colon + 1);
        authority = authority.substr(0, colon);
    }
    host_ = authority;
    return (!userInfo_ || UrlGrammar::isUserInfo(*userInfo_)) && UrlGrammar::isHost(*host_) &&
           (!port_ || UrlGrammar::isPort(*port_));
}

std::string_view Url::lastPathComponent() const noexcept {
    const std::string_view path = path_;
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::optional<Url> Url::resolve(const Url& reference) const {
    if (reference.scheme()) {
        return reference;
    }
    if (!scheme_) {
        return std::nullopt;
    }
    const std::string authority = authorityOf(reference.host() ? reference : *this);
    const std::string path = resolvedPath(*this, reference);
    if (authority.empty() && path.starts_with("//")) {
        return std::nullopt; // would read as an authority
    }
    std::string text = *scheme_ + ":" + authority + path;
    if (const auto& query = resolvedQuery(*this, reference)) {
        text += "?" + *query;
    }
    if (reference.fragment()) {
        text += "#" + *reference.fragment();
    }
    return parse(text);
}

} // namespace InstallerCore
