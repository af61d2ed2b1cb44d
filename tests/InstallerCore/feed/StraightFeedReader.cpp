#include "tests/InstallerCore/feed/StraightFeedReader.h"

#include "InstallerCore/config/InstallerError.h"

#include <nlohmann/json.hpp>
#include <uriparser/Uri.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <vector>

namespace InstallerCore::Testing {

namespace {

using Text = std::u32string;
using Item = std::map<std::string, std::string>;

struct Refusal {
    std::string text;
};

void demand(bool condition, std::string_view text) {
    if (!condition) {
        throw Refusal{std::string(text)};
    }
}

// The code points of UTF-8: shortest forms only, no surrogates, nothing beyond U+10FFFF.
Text decoded(std::string_view bytes) {
    Text text;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        const bool isLead = lead < 0x80 || (lead >= 0xC2 && lead <= 0xF4);
        demand(isLead && bytes.size() - i >= length, "Invalid feed encoding");
        char32_t point = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(bytes[i + k]);
            demand((next & 0xC0U) == 0x80, "Invalid feed encoding");
            point = point << 6U | (next & 0x3FU);
        }
        const char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
        demand(point >= smallest[length] && point <= 0x10FFFF && !surrogate, "Invalid feed encoding");
        text += point;
        i += length;
    }
    return text;
}

std::string encoded(const Text& text) {
    std::string bytes;
    for (const char32_t point : text) {
        const auto put = [&bytes](char32_t value) { bytes += static_cast<char>(value); };
        if (point < 0x80) {
            put(point);
            continue;
        }
        const unsigned following = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        put((0xFF00U >> (following + 1) & 0xFFU) | point >> 6 * following);
        for (unsigned k = following; k-- > 0;) {
            put(0x80 | (point >> 6 * k & 0x3FU));
        }
    }
    return bytes;
}

bool isNewline(char32_t c) {
    constexpr std::u32string_view newlines = U"\n\v\f\r\x85\u2028\u2029";
    return newlines.find(c) != Text::npos;
}

bool isBlank(char32_t c) {
    constexpr std::u32string_view blanks =
        U"\t \u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009"
        U"\u200A\u202F\u205F\u3000";
    return blanks.find(c) != Text::npos;
}

Text trimmed(Text text) {
    const auto goes = [](char32_t c) { return isBlank(c) || isNewline(c); };
    while (!text.empty() && goes(text.front())) {
        text.erase(0, 1);
    }
    while (!text.empty() && goes(text.back())) {
        text.pop_back();
    }
    return text;
}

Text afterColon(const Text& line) {
    return trimmed(line.substr(line.find(U':') + 1));
}

std::string scalar(const Text& value) {
    if (value.starts_with(U'\'')) {
        demand(value.size() >= 2 && value.ends_with(U'\''), "Invalid YAML scalar");
        Text inner = value.substr(1, value.size() - 2);
        for (std::size_t at = 0; (at = inner.find(U"''", at)) != Text::npos; ++at) {
            inner.erase(at, 1);
        }
        return encoded(inner);
    }
    if (value.starts_with(U'"')) {
        demand(value.find(U'\0') == Text::npos, malformedJson);
        const auto json = nlohmann::json::parse(encoded(value), nullptr, false);
        demand(!json.is_discarded(), malformedJson);
        demand(json.is_string(), "Invalid YAML scalar");
        return json.get<std::string>();
    }
    demand(value.empty() || Text(U"!&*[{|>").find(value.front()) == Text::npos, "Unsupported YAML scalar");
    return encoded(value);
}

bool isBlockMapSize(const Text& line) {
    const Text start = U"    blockMapSize: ";
    if (!line.starts_with(start)) {
        return false;
    }
    const std::size_t end = std::min(line.find_first_not_of(U"0123456789", start.size()), line.size());
    const Text rest = line.substr(end);
    return end > start.size() && std::all_of(rest.begin(), rest.end(), isBlank);
}

struct Scan {
    std::optional<std::string> version;
    bool filesSeen = false;
    bool inFiles = false;
    std::vector<Item> items;

    void line(const Text& raw) {
        const Text content = trimmed(raw);
        if (content.empty() || content.front() == U'#') {
            return;
        }
        if (raw.front() == U' ') {
            if (inFiles) {
                indentedLine(raw);
            }
        } else if (raw.starts_with(U"version:")) {
            demand(!version, "Duplicate feed field");
            version = scalar(afterColon(raw));
            inFiles = false;
        } else if (raw.starts_with(U"files:")) {
            demand(!filesSeen && afterColon(raw).empty(), "Invalid files list");
            filesSeen = true;
            inFiles = true;
        } else {
            inFiles = false;
        }
    }

    void indentedLine(const Text& raw) {
        if (raw.starts_with(U"  - url:")) {
            items.push_back({{"url", scalar(afterColon(raw))}});
            return;
        }
        for (const char* key : {"sha512", "size"}) {
            if (raw.starts_with(U"    " + decoded(key) + U":")) {
                demand(!items.empty(), "Invalid files list");
                demand(!items.back().contains(key), "Duplicate feed field");
                items.back()[key] = scalar(afterColon(raw));
                return;
            }
        }
        demand(isBlockMapSize(raw), "Unsupported files list");
    }
};

Scan scanned(const Text& text) {
    Scan scan;
    Text line;
    for (const char32_t c : text) {
        if (isNewline(c)) {
            scan.line(line);
            line.clear();
        } else if (c != U'\uFEFF') {
            line += c;
        }
    }
    scan.line(line);
    return scan;
}

bool areDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// Whether the decimal number is at most the other; both are digits without a sign.
bool atMost(std::string number, const std::string& limit) {
    number.erase(0, number.find_first_not_of('0'));
    return number.size() < limit.size() || (number.size() == limit.size() && number <= limit);
}

bool isVersion(const std::string& version) {
    const std::size_t first = version.find('.');
    const std::size_t last = version.rfind('.');
    if (first == last) {
        return false;
    }
    const std::string parts[] = {version.substr(0, first), version.substr(first + 1, last - first - 1),
                                 version.substr(last + 1)};
    return std::all_of(std::begin(parts), std::end(parts), [](const std::string& part) {
        return areDigits(part) && atMost(part, "9223372036854775807");
    });
}

bool isReference(const std::string& text) {
    UriUriA uri;
    const bool valid =
        uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS;
    if (valid) {
        uriFreeUriMembersA(&uri);
    }
    return valid;
}

// Of a path that begins with "/", or of none.
std::string withoutDotSegments(const std::string& path) {
    std::vector<std::string> kept;
    for (std::size_t slash = 0; slash < path.size();) {
        const std::size_t next = std::min(path.find('/', slash + 1), path.size());
        const std::string segment = path.substr(slash, next - slash);
        const bool dots = segment == "/." || segment == "/..";
        if (segment == "/.." && !kept.empty()) {
            kept.pop_back();
        }
        if (!dots) {
            kept.push_back(segment);
        } else if (next == path.size()) {
            kept.emplace_back("/");
        }
        slash = next;
    }
    return std::accumulate(kept.begin(), kept.end(), std::string());
}

// The absolute form of a reference beside the base, which is a trusted address. Absent when it is no
// reference.
std::optional<std::string> resolved(const std::string& reference, const std::string& base) {
    if (reference.empty() || !isReference(reference)) {
        return std::nullopt;
    }
    const std::size_t end = std::min(reference.find_first_of("?#"), reference.size());
    const std::string path = reference.substr(0, end);
    const std::string rest = reference.substr(end);
    if (path.substr(0, path.find('/')).find(':') != std::string::npos) {
        return reference;
    }
    if (path.starts_with("//")) {
        const std::size_t root = std::min(path.find('/', 2), path.size());
        return "https:" + path.substr(0, root) + withoutDotSegments(path.substr(root)) + rest;
    }
    const std::size_t root = std::min(base.find_first_of("/?", std::string("https://").size()), base.size());
    const std::size_t query = std::min(base.find('?'), base.size());
    const std::string server = base.substr(0, root);
    const std::string basePath = base.substr(root, query - root);
    if (path.empty()) {
        return server + basePath + (rest.starts_with('?') ? "" : base.substr(query)) + rest;
    }
    const std::string directory = basePath.empty() ? "/" : basePath.substr(0, basePath.rfind('/') + 1);
    return server + withoutDotSegments(path.starts_with('/') ? path : directory + path) + rest;
}

std::string fileName(std::string address) {
    address.resize(std::min(address.find('?'), address.size()));
    address.erase(0, std::string("https://").size());
    const std::size_t slash = address.rfind('/');
    return slash == std::string::npos ? "" : address.substr(slash + 1);
}

std::string hashDigits(const Item& item) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::string text = item.contains("sha512") ? item.at("sha512") : "";
    demand(text.size() == 88 && text.ends_with("=="), "Invalid artifact size or hash");
    std::string bits;
    for (const char c : text.substr(0, 86)) {
        const std::size_t value = alphabet.find(c);
        demand(value != std::string::npos, "Invalid artifact size or hash");
        for (unsigned k = 6; k-- > 0;) {
            bits += (value >> k & 1U) != 0 ? '1' : '0';
        }
    }
    demand(bits.substr(512) == "0000", "Invalid artifact size or hash");
    std::string digits;
    for (std::size_t i = 0; i < 512; i += 4) {
        digits += "0123456789abcdef"[std::stoul(bits.substr(i, 4), nullptr, 2)];
    }
    return digits;
}

std::int64_t sizeOf(const Item& item) {
    const std::string text = item.contains("size") ? item.at("size") : "";
    demand(areDigits(text) && atMost(text, "19999999999"), "Invalid artifact size or hash");
    const std::int64_t size = std::stoll(text);
    demand(size > 0, "Invalid artifact size or hash");
    return size;
}

Manifest read(std::string_view document, const Config& config) {
    demand(document.size() <= 128 * 1024, "Manifest too large");
    const Scan scan = scanned(decoded(document));
    demand(scan.version.has_value(), "Missing release version");
    const std::string& version = *scan.version;
    demand(isVersion(version), "Invalid version");

    Manifest manifest;
    std::set<std::string> architectures;
    for (const Item& item : scan.items) {
        const auto address = resolved(item.at("url"), config.url(config.channelURL).text());
        demand(address.has_value(), "Invalid download URL");
        static_cast<void>(config.url(*address));
        const std::string name = fileName(*address);
        if (!name.ends_with(".dmg")) {
            continue;
        }
        const std::string x64Name = "Kavio-" + version + ".dmg";
        const std::string armName = "Kavio-" + version + "-arm64.dmg";
        demand(name == x64Name || name == armName, "Artifact version mismatch");
        const std::string arch = name == armName ? "arm64" : "x64";
        demand(architectures.insert(arch).second, "Duplicate release target");
        const std::string hash = hashDigits(item);
        const std::int64_t size = sizeOf(item);
        manifest.artifacts.push_back({"macos", arch, version, "12.0.0", *address, size, size * 4, hash});
    }
    demand(!manifest.artifacts.empty(), "No compatible release artifacts");
    return manifest;
}

} // namespace

StraightResult readFeedStraight(std::string_view document, const Config& config) {
    try {
        return read(document, config);
    } catch (const Refusal& refusal) {
        return refusal.text;
    } catch (const InstallerError& error) {
        return error.errorDescription();
    }
}

} // namespace InstallerCore::Testing
