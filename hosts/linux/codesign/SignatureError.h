#pragma once

#include "InstallerCore/support/Ascii.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace InstallerCore::CodeSign {

// Why code is refused. what() is one sentence for a release engineer: the place, a colon, the rule, as in
// "Contents/MacOS/Kavio (arm64): page 3 does not have its sealed SHA-256 hash". The place is made from the
// outside: whoever knows more of it than the thrower puts it in front. It is one line, whatever names are in
// it: control characters are question marks.
class SignatureError : public std::runtime_error {
public:
    explicit SignatureError(const std::string& rule) : std::runtime_error(printable(rule)) {}

    [[nodiscard]] SignatureError at(const std::string& place) const {
        return SignatureError(place + ": " + what());
    }

private:
    [[nodiscard]] static std::string printable(std::string text) {
        std::replace_if(text.begin(), text.end(), Ascii::isControl, '?');
        return text;
    }
};

// The result of the work; what it refuses is reported with the place in front.
template <typename Work>
decltype(auto) at(const std::string& place, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const SignatureError& error) {
        throw error.at(place);
    }
}

// Throws SignatureError with the rule when the condition does not hold.
inline void demand(bool condition, const char* rule) {
    if (!condition) {
        throw SignatureError(rule);
    }
}

} // namespace InstallerCore::CodeSign
