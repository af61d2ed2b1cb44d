#include "InstallerCore/support/UrlGrammar.h"

#include "InstallerCore/support/Ascii.h"

#include <algorithm>

namespace InstallerCore::UrlGrammar {

namespace {

constexpr std::string_view subDelims = "!$&'()*+,;=";

bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isUnreserved(char c) {
    return isAlpha(c) || Ascii::isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

bool isSubDelim(char c) {
    return subDelims.find(c) != std::string_view::npos;
}

bool areDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), Ascii::isDigit);
}

// Any number of unreserved characters, percent-encoded octets, sub-delimiters and the additional characters.
bool isEncoded(std::string_view text, std::string_view additional) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (text.size() - i < 3 || !Ascii::isHexadecimalDigit(text[i + 1]) ||
                !Ascii::isHexadecimalDigit(text[i + 2])) {
                return false;
            }
            i += 2;
        } else if (!isUnreserved(c) && !isSubDelim(c) && additional.find(c) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool isDecOctet(std::string_view text) {
    if (text.empty() || text.size() > 3 || !areDigits(text) || (text.size() > 1 && text[0] == '0')) {
        return false;
    }
    return text.size() < 3 || text <= "255";
}

bool isIPv4Address(std::string_view text) {
    for (int octet = 0; octet < 3; ++octet) {
        const std::size_t dot = text.find('.');
        if (dot == std::string_view::npos || !isDecOctet(text.substr(0, dot))) {
            return false;
        }
        text.remove_prefix(dot + 1);
    }
    return isDecOctet(text);
}

bool isH16(std::string_view text) {
    return !text.empty() && text.size() <= 4 &&
           std::all_of(text.begin(), text.end(), Ascii::isHexadecimalDigit);
}

constexpr int notAGroupList = -1;

// The number of 16-bit groups that the colon-separated list stands for, an IPv4 address at the end of the
// whole address counting as two; notAGroupList when it is none. The empty list has none.
int countGroups(std::string_view text, bool endsAddress) {
    if (text.empty()) {
        return 0;
    }
    int count = 0;
    while (true) {
        const std::size_t colon = text.find(':');
        const std::string_view group = text.substr(0, colon);
        const bool last = colon == std::string_view::npos;
        if (isH16(group)) {
            ++count;
        } else if (last && endsAddress && isIPv4Address(group)) {
            count += 2;
        } else {
            return notAGroupList;
        }
        if (last) {
            return count;
        }
        text.remove_prefix(colon + 1);
    }
}

bool isIPv6Address(std::string_view text) {
    constexpr int allGroups = 8;
    const std::size_t gap = text.find("::");
    if (gap == std::string_view::npos) {
        return countGroups(text, true) == allGroups;
    }
    const int before = countGroups(text.substr(0, gap), false);
    const int after = countGroups(text.substr(gap + 2), true);
    return before != notAGroupList && after != notAGroupList && before + after < allGroups;
}

bool isIPvFuture(std::string_view text) {
    if (text.empty() || (text[0] != 'v' && text[0] != 'V')) {
        return false;
    }
    const std::size_t dot = text.find('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    const std::string_view version = text.substr(1, dot - 1);
    const std::string_view address = text.substr(dot + 1);
    return !version.empty() && std::all_of(version.begin(), version.end(), Ascii::isHexadecimalDigit) &&
           !address.empty() && std::all_of(address.begin(), address.end(), [](char c) {
               return isUnreserved(c) || isSubDelim(c) || c == ':';
           });
}

} // namespace

bool isScheme(std::string_view text) {
    return !text.empty() && isAlpha(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return isAlpha(c) || Ascii::isDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

bool isUserInfo(std::string_view text) {
    return isEncoded(text, ":");
}

bool isHost(std::string_view text) {
    if (text.starts_with('[')) {
        if (!text.ends_with(']')) {
            return false;
        }
        const std::string_view literal = text.substr(1, text.size() - 2);
        return isIPv6Address(literal) || isIPvFuture(literal);
    }
    return isEncoded(text, "");
}

bool isPort(std::string_view text) {
    return areDigits(text);
}

bool isPath(std::string_view text) {
    return isEncoded(text, ":@/");
}

bool isQueryOrFragment(std::string_view text) {
    return isEncoded(text, ":@/?");
}

std::string removeDotSegments(std::string_view path) {
    std::string output;
    const auto removeLastSegment = [&output] {
        const std::size_t slash = output.rfind('/');
        output.resize(slash == std::string::npos ? 0 : slash);
    };
    while (!path.empty()) {
        if (path.starts_with("../")) {
            path.remove_prefix(3);
        } else if (path.starts_with("./") || path.starts_with("/./")) {
            path.remove_prefix(2);
        } else if (path == "/.") {
            path = "/";
        } else if (path.starts_with("/../")) {
            path.remove_prefix(3);
            removeLastSegment();
        } else if (path == "/..") {
            path = "/";
            removeLastSegment();
        } else if (path == "." || path == "..") {
            path = {};
        } else {
            const std::size_t next = path.find('/', 1);
            output += path.substr(0, next);
            path.remove_prefix(std::min(next, path.size()));
        }
    }
    return output;
}

} // namespace InstallerCore::UrlGrammar
