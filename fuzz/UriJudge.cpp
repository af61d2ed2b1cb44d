#include "fuzz/UriJudge.h"

#include <uriparser/Uri.h>

namespace InstallerCore::Fuzz {

namespace {

class ParsedUri {
public:
    explicit ParsedUri(std::string_view text) {
        const char* const first = text.empty() ? "" : text.data(); // the library refuses a null pointer
        valid_ = uriParseSingleUriExA(&uri_, first, first + text.size(), nullptr) == URI_SUCCESS;
    }

    ParsedUri(const ParsedUri& base, const ParsedUri& reference)
        : valid_(uriAddBaseUriA(&uri_, &reference.uri_, &base.uri_) == URI_SUCCESS) {}

    ParsedUri(const ParsedUri&) = delete;
    ParsedUri& operator=(const ParsedUri&) = delete;

    ~ParsedUri() {
        if (valid_) {
            uriFreeUriMembersA(&uri_);
        }
    }

    [[nodiscard]] bool valid() const noexcept { return valid_; }

    const UriUriA* operator->() const noexcept { return &uri_; }

    [[nodiscard]] std::string text() const {
        int length = 0;
        uriToStringCharsRequiredA(&uri_, &length);
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        uriToStringA(text.data(), &uri_, length + 1, nullptr);
        text.pop_back();
        return text;
    }

private:
    UriUriA uri_{};
    bool valid_ = false;
};

std::optional<std::string> part(const UriTextRangeA& range) {
    return range.first == nullptr ? std::nullopt : std::optional(std::string(range.first, range.afterLast));
}

std::string pathOf(const ParsedUri& uri) {
    std::string path;
    for (const UriPathSegmentA* segment = uri->pathHead; segment != nullptr; segment = segment->next) {
        if (segment != uri->pathHead || uri->absolutePath != 0 || uri->hostText.first != nullptr) {
            path += '/';
        }
        path.append(segment->text.first, segment->text.afterLast);
    }
    return path.empty() && uri->absolutePath != 0 ? "/" : path;
}

} // namespace

std::optional<UriParts> judgedParts(std::string_view text) {
    const ParsedUri uri(text);
    if (!uri.valid()) {
        return std::nullopt;
    }
    UriParts parts{.scheme = part(uri->scheme),
                   .userInfo = part(uri->userInfo),
                   .host = part(uri->hostText),
                   .port = part(uri->portText),
                   .path = pathOf(uri),
                   .query = part(uri->query),
                   .fragment = part(uri->fragment)};
    if (uri->hostData.ip6 != nullptr || uri->hostData.ipFuture.first != nullptr) {
        parts.host = "[" + *parts.host + "]";
    }
    return parts;
}

std::optional<std::string> judgedResolution(std::string_view base, std::string_view reference) {
    const ParsedUri from(base);
    const ParsedUri relative(reference);
    const ParsedUri resolved(from, relative);
    return resolved.valid() ? std::optional(resolved.text()) : std::nullopt;
}

} // namespace InstallerCore::Fuzz
