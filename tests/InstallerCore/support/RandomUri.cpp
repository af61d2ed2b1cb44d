#include "tests/InstallerCore/support/RandomUri.h"

namespace InstallerCore::Testing {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view letters = "abcxyzABCXYZ";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
constexpr std::string_view inHost = "abcXYZ019-._~!$&'()*+,;=";
constexpr std::string_view inUserInfo = "abcXYZ019-._~!$&'()*+,;=::";
constexpr std::string_view inPath = "abcXYZ019-._~!$&'()*+,;=:@";
constexpr std::string_view inQuery = "abcXYZ019-._~!$&'()*+,;=:@//??";

// What a grammar cares about, and what it must not let through.
constexpr std::string_view hostile = "://?#[]@%.:/@[]::%0aFvg1255-+;=& \t\r\n\"\\<>^`{|}\x7F\x80\xC3\xFF\0"sv;

} // namespace

std::size_t RandomUri::below(std::size_t limit) {
    return random_() % limit;
}

bool RandomUri::chance(unsigned percent) {
    return below(100) < percent;
}

char RandomUri::any(std::string_view alphabet) {
    return alphabet[below(alphabet.size())];
}

std::string RandomUri::some(std::string_view alphabet, std::size_t most) {
    std::string text(below(most + 1), ' ');
    for (char& c : text) {
        c = any(alphabet);
    }
    return text;
}

std::string RandomUri::encoded(std::string_view alphabet, std::size_t most) {
    std::string text;
    for (std::size_t left = below(most + 1); left > 0; --left) {
        if (chance(8)) {
            text += {'%', any(hexDigits), any(hexDigits)};
        } else {
            text += any(alphabet);
        }
    }
    return text;
}

std::string RandomUri::next() {
    const std::size_t kind = below(100);
    if (kind < 55) {
        return reference();
    }
    return kind < 88 ? damaged(reference()) : noise();
}

std::string RandomUri::reference() {
    std::string text;
    if (chance(60)) {
        text += scheme() + ":";
    }
    if (chance(60)) {
        text += "//" + authority();
    }
    text += path();
    if (chance(35)) {
        text += "?" + encoded(inQuery, 6);
    }
    if (chance(35)) {
        text += "#" + encoded(inQuery, 6);
    }
    return text;
}

std::string RandomUri::scheme() {
    return chance(50) ? "https" : any(letters) + some("abcXYZ019+-.", 4);
}

std::string RandomUri::authority() {
    std::string text;
    if (chance(30)) {
        text += encoded(inUserInfo, 5) + "@";
    }
    text += host();
    if (chance(30)) {
        text += ":" + some("0123456789", chance(90) ? 4 : 24);
    }
    return text;
}

std::string RandomUri::host() {
    switch (below(8)) {
    case 0:
        return ipv4Address();
    case 1:
    case 2:
        return "[" + ipv6Address() + "]";
    case 3:
        return "[" + ipvFuture() + "]";
    default:
        return encoded(inHost, 8);
    }
}

std::string RandomUri::ipv4Address() {
    constexpr std::string_view octets[] = {"0",   "1",   "9",   "10",  "99", "100",
                                           "199", "249", "255", "256", "00"};
    std::string text;
    for (std::size_t left = chance(90) ? 4 : 1 + below(6); left > 0; --left) {
        text += octets[below(chance(90) ? 9 : std::size(octets))];
        text += left > 1 ? "." : "";
    }
    return text;
}

// Groups, mostly the right number, with a gap among them or none.
std::string RandomUri::ipv6Address() {
    const std::size_t groups = chance(50) ? 8 : below(10);
    const std::size_t gap = groups == 8 && chance(70) ? groups + 1 : below(groups + 1);
    std::string text;
    for (std::size_t group = 0; group < groups; ++group) {
        text += group == gap ? "::" : group > 0 ? ":" : "";
        if (chance(group + 1 == groups ? 20 : 2)) {
            text += ipv4Address();
        } else {
            text += any(hexDigits) + some(hexDigits, chance(98) ? 3 : 4);
        }
    }
    return gap == groups ? text + "::" : text;
}

std::string RandomUri::ipvFuture() {
    return any("vV") + some(hexDigits, 2) + "." + some(inUserInfo, 4);
}

std::string RandomUri::path() {
    std::string text;
    for (std::size_t left = below(6); left > 0; --left) {
        text += chance(85) ? "/" : "";
        constexpr std::string_view special[] = {".", "..", "", "a", "a:b", "...", "%2e%2E"};
        text += chance(65) ? std::string(special[below(std::size(special))]) : encoded(inPath, 4);
    }
    return text;
}

std::string RandomUri::damaged(std::string text) {
    for (std::size_t left = 1 + below(3); left > 0; --left) {
        const std::size_t place = below(text.size() + 1);
        switch (below(4)) {
        case 0:
            text.insert(place, 1, any(hostile));
            break;
        case 1:
            text.erase(place, 1);
            break;
        case 2:
            text.replace(place, 1, 1, any(hostile));
            break;
        default:
            text.insert(place, text.substr(below(text.size() + 1), below(5)));
        }
    }
    return text;
}

std::string RandomUri::noise() {
    if (chance(60)) {
        return some(hostile, 10);
    }
    std::string text(below(10), ' ');
    for (char& c : text) {
        c = static_cast<char>(below(256));
    }
    return text;
}

} // namespace InstallerCore::Testing
