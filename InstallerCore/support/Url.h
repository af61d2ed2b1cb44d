#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore {

// A URI reference by the grammar of RFC 3986 (section 4.1), kept as written together with its parsed parts.
// The grammar decides trust, so it is one small piece of portable code: nothing is repaired, trimmed, decoded
// or normalised, and a text with any character outside the grammar does not parse. Immutable; any thread.
class Url {
public:
    [[nodiscard]] static std::optional<Url> parse(std::string_view text);

    // Exactly the text that was parsed.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }

    // Parts as written. An absent part is told from an empty one: "//h" has no port, "//h:" an empty one.
    [[nodiscard]] const std::optional<std::string>& scheme() const noexcept { return scheme_; }

    // All that stands before the "@": a user name and, after a ":", a password.
    [[nodiscard]] const std::optional<std::string>& userInfo() const noexcept { return userInfo_; }

    // May be empty. An IPv6 address keeps its brackets.
    [[nodiscard]] const std::optional<std::string>& host() const noexcept { return host_; }

    [[nodiscard]] const std::optional<std::string>& port() const noexcept { return port_; }

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

    [[nodiscard]] const std::optional<std::string>& query() const noexcept { return query_; }

    [[nodiscard]] const std::optional<std::string>& fragment() const noexcept { return fragment_; }

    // What follows the last "/" of the path; the whole path without one. Not decoded.
    [[nodiscard]] std::string_view lastPathComponent() const noexcept;

    // The reference seen from this address, which must have a scheme (RFC 3986, section 5.2). A reference
    // with a scheme of its own stands by itself, as written.
    [[nodiscard]] std::optional<Url> resolve(const Url& reference) const;

    friend bool operator==(const Url& a, const Url& b) { return a.text_ == b.text_; }

private:
    Url() = default;

    bool parseAuthority(std::string_view authority);

    std::string text_;
    std::optional<std::string> scheme_;
    std::optional<std::string> userInfo_;
    std::optional<std::string> host_;
    std::optional<std::string> port_;
    std::string path_;
    std::optional<std::string> query_;
    std::optional<std::string> fragment_;
};

} // namespace InstallerCore
