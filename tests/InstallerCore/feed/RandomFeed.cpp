#include "tests/InstallerCore/feed/RandomFeed.h"

#include <iterator>
#include <string_view>

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t largestFeed = 131'072;

std::string quotedOnce(const std::string& value) {
    std::string text = "'";
    for (const char c : value) {
        text += c == '\'' ? "''" : std::string(1, c);
    }
    return text + "'";
}

} // namespace

std::string RandomFeed::pick(std::initializer_list<const char*> choices) {
    return choices.begin()[below(choices.size())];
}

std::string RandomFeed::version() {
    if (damaged()) {
        return pick({"", "1.4", "1.4.2.0", "v1.4.2", "1.4.2-beta", "1..2", "1.4.x", "+1.4.2", "~",
                     "1.4.2 # stable", "١.٤.٢", "9223372036854775808.0.0", "99999999999999999999.1.4.2",
                     "1.4.99999999999999999999"});
    }
    return pick({"1.4.2", "1.4.2", "0.0.0", "10.20.30", "01.004.2", "9223372036854775807.0.1"});
}

std::string RandomFeed::fileName(bool arm64) {
    if (damaged()) {
        return pick({"Kavio-1.4.20.dmg", "kavio-1.4.2.dmg", "Kavio-1x4.2.dmg", "Kavio-1.4.2-ARM64.dmg",
                     "Kavio-1.4.2-x64.dmg", "Kavio-1.4.2.DMG", "Kavio-1.4.2.zip", "Kavio-1.4.2.dmg.zip",
                     ".dmg", "dmg", "Kavio-1.4.2%2Edmg", "Kavio-1.4.2.dmg/", "a%2fKavio-1.4.2.dmg"});
    }
    return "Kavio-" + version_ + (arm64 ? "-arm64.dmg" : ".dmg");
}

std::string RandomFeed::address(const std::string& fileName) {
    if (damaged()) {
        const std::string before = pick({"http:",
                                         "HTTPS:",
                                         "https:",
                                         "ftp:",
                                         "//other.example",
                                         "https://other.example",
                                         "https://user@dist.mykavio.test",
                                         "https://dist.mykavio.test:80",
                                         "https://dist.mykavio.test:",
                                         "https://dist.mykavio.test.",
                                         "https://Dist.mykavio.test",
                                         "//[::1]",
                                         "//[::1",
                                         "https://dist mykavio.test",
                                         "%zz",
                                         "..%2f..",
                                         "https:dist.mykavio.test",
                                         "C:\\",
                                         "\\\\dist.mykavio.test",
                                         "ü"});
        return before + "/" + fileName + pick({"", "", "#", "#top"});
    }
    if (oneIn(40)) {
        return pick(
            {"", "#", "?", ".", "..", "a b", "[1]", "//", "/", ":", "latest-mac.yml", "a:b", "a/b:c"});
    }
    const std::string before =
        pick({"", "", "", "", "./", "../mac/", "../", "/", "//dist.mykavio.test/", "/a/b/../../c/",
              "../../../../", "..//..//../../", "https://dist.mykavio.test/",
              "https://dist.mykavio.test:443/desktop/", "https://dist.mykavio.test/a/../b/"});
    return before + fileName + pick({"", "", "", "", "?a=b/c.zip", "?"});
}

std::string RandomFeed::hash() {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (int i = 0; i < 85; ++i) {
        text += alphabet[below(alphabet.size())];
    }
    text += "AQgw"[below(4)];
    text += "==";
    return damaged() ? damagedHash(text) : text;
}

std::string RandomFeed::damagedHash(const std::string& hash) {
    const std::size_t at = below(80);
    const std::string variants[] = {
        "",
        hash.substr(0, 87),                             // padding missing
        hash.substr(0, 85) + "B==",                     // the unused bits are set
        hash.substr(0, 64),                             // 48 bytes
        hash.substr(0, 84) + "AAAA",                    // 66 bytes
        hash.substr(0, at) + "_" + hash.substr(at + 1), // of another alphabet
        hash.substr(0, at) + " " + hash.substr(at),
        hash.substr(0, at) + "=" + hash.substr(at + 1),
    };
    return variants[below(std::size(variants))];
}

std::string RandomFeed::size() {
    if (damaged()) {
        return pick({"", "0", "00", "+5", "-1", "1e3", "5.0", "0x10", "20000000000", "9223372036854775807",
                     "9223372036854775808", "18446744073709551617", "1 000", "five", "٥"});
    }
    return oneIn(4) ? pick({"1", "007", "19999999999", "00000000000000000000012"})
                    : std::to_string(1 + below(9'999'999'999));
}

std::string RandomFeed::spelled(const std::string& value) {
    std::string text = value;
    if (damaged()) {
        text = pick({"'",           "''",          "'it''s",      "\"",    "\"x", "\"\\x\"",
                     "\"\\ud800\"", "\"a\" \"b\"", "\"a\"\x01",   "[1]",   "{}",  "!x",
                     "&a",          "*a",          "|",           ">",     "@x",  "null",
                     "~",           "\"tab\\t\"",  "\"\\u0000\"", "\"\t\""});
        if (oneIn(4)) {
            text = pick({"'", "\"", "\"\"", "[", "!"}) + value;
        }
    } else if (oneIn(5)) {
        text = quotedOnce(value);
    } else if (oneIn(5)) {
        text = "\"" + value + "\"";
    } else if (!value.empty() && static_cast<unsigned char>(value[0]) < 0x80 && oneIn(8)) {
        constexpr std::string_view digits = "0123456789abcdef";
        const auto first = static_cast<unsigned char>(value[0]);
        text = std::string("\"\\u00") + digits[first / 16] + digits[first % 16] + value.substr(1) + "\"";
    }
    const std::string before = pick({" ", " ", " ", "", "  ", "\t", "\u00A0", "\u2003\u3000"});
    return before + text + pick({"", "", "", " ", "\t", "\u2009"});
}

std::string RandomFeed::noise() {
    return pick({"", " ", "\t", "\u00A0", "# comment", "    # comment", "\t# files:", "\u3000#", "  "});
}

void RandomFeed::addItem(std::vector<std::string>& lines, bool arm64) {
    lines.push_back("  - url:" + spelled(address(fileName(arm64))));
    std::vector<std::string> keys;
    if (!damaged()) {
        keys.push_back("    sha512:" + spelled(hash()));
    }
    if (!damaged()) {
        keys.push_back("    size:" + spelled(size()));
    }
    if (oneIn(3)) {
        keys.push_back("    blockMapSize: 190123" + pick({"", "", " ", "\t", "\u2003 "}));
    }
    if (damaged()) {
        keys.push_back("    blockMapSize:" + pick({"", " ", "1", " 1x", " x", " 1 2", "  1"}));
    }
    if (damaged()) {
        keys.push_back(pick({"    url: a", "   size: 1", "     size: 1", " size: 1", "  size: 1",
                             "    sha256: a", "  -url: a", "   - url: a", "  - path: a", "    size : 1",
                             "    size", "     - url: a", "    Size: 1"}));
    }
    if (damaged()) {
        keys.push_back(pickLine({"    size:" + spelled(size()), "    sha512:" + spelled(hash())}));
    }
    while (!keys.empty()) {
        if (oneIn(12)) {
            lines.push_back(noise());
        }
        const std::size_t chosen = below(keys.size());
        lines.push_back(keys[chosen]);
        keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(chosen));
    }
}

void RandomFeed::addFiles(std::vector<std::string>& lines) {
    const std::string blank = pick({"", "", "", " ", "\t"});
    lines.push_back("files:" + blank + (damaged() ? pick({"[]", "a", "#", ":", "''"}) : ""));
    if (damaged()) {
        lines.push_back(pick({"    size: 1", "    sha512: a", "    blockMapSize: 1", "other:", "\t- url: a",
                              "\u00A0 x", "-"}));
    }
    const bool armFirst = oneIn(2);
    const std::size_t items = damaged() ? below(4) : 1 + below(2);
    for (std::size_t i = 0; i < items; ++i) {
        addItem(lines, damaged() ? armFirst : armFirst == (i % 2 == 0));
        if (oneIn(8)) {
            lines.push_back("  - url:" + spelled("Kavio-" + version_ + "-mac.zip"));
        }
        if (oneIn(10)) {
            lines.push_back(noise());
        }
    }
}

std::vector<std::string> RandomFeed::documentLines() {
    std::vector<std::string> lines;
    const bool versionFirst = !oneIn(5);
    const auto addVersion = [&] {
        if (!damaged()) {
            lines.push_back("version:" + spelled(version_));
        }
        if (damaged()) {
            lines.push_back(
                pick({"version: 1.4.2", "Version: 1.4.2", " version: 1.4.2", "version : 1.4.2", "version"}));
        }
    };
    if (oneIn(3)) {
        lines.push_back(
            pick({"# a release", "---", "path: Kavio.dmg", "\tversion: 9.9.9", "    size: 1", "", "stray"}));
    }
    if (versionFirst) {
        addVersion();
    }
    if (!damaged()) {
        addFiles(lines);
    }
    if (damaged()) {
        addFiles(lines);
    }
    if (!versionFirst) {
        addVersion();
    }
    if (oneIn(2)) {
        lines.push_back("path: Kavio-" + version_ + ".dmg");
        lines.push_back("    size: 1"); // below no list: ignored
        lines.push_back("releaseDate: '2024-05-01T10:00:00.000Z'");
    }
    return lines;
}

std::string RandomFeed::joined(const std::vector<std::string>& lines) {
    const bool mixed = oneIn(6);
    const std::string usual = pick({"\n", "\n", "\n", "\r\n", "\r", "\u2028"});
    std::string document;
    for (const std::string& line : lines) {
        document += line;
        document +=
            mixed ? pick({"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029", "\n\n"}) : usual;
    }
    return document;
}

void RandomFeed::damageBytes(std::string& document) {
    const auto insert = [&](const std::string& bytes) { document.insert(below(document.size() + 1), bytes); };
    if (damaged()) {
        insert(pick({"\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x80", "\x80"}));
    }
    if (damaged()) {
        insert(pick({"\u200B", "\u2060", "\u180E", "\x1F", " ", "\n", "'", "\"", "#", ":", "\u0301"}));
    }
    if (damaged()) {
        insert(std::string(1, '\0'));
    }
    if (damaged()) {
        const std::size_t at = below(document.size() + 1);
        document.erase(at, 1 + below(3));
    }
    if (damaged() && oneIn(50)) {
        document.resize(largestFeed + below(2), '\n');
    }
}

std::string RandomFeed::next() {
    const std::size_t rates[] = {0, 0, 0, 100, 50, 30, 20, 8};
    damageRate_ = rates[below(std::size(rates))];
    version_ = version();
    std::string document = joined(documentLines());
    for (std::size_t marks = oneIn(6) ? 1 + below(3) : 0; marks > 0; --marks) {
        // Not inside a character: that would be another kind of damage.
        std::size_t at = below(document.size() + 1);
        while (at < document.size() && (static_cast<unsigned char>(document[at]) & 0xC0U) == 0x80) {
            ++at;
        }
        document.insert(at, "\uFEFF");
    }
    damageBytes(document);
    return document;
}

} // namespace InstallerCore::Testing
