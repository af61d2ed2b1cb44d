#include "InstallerCore/feed/FeedLines.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/Json.h"
#include "InstallerCore/support/UnicodeText.h"

#include <algorithm>
#include <utility>

namespace InstallerCore {

namespace {

struct Field {
    std::string_view key;
    std::string_view value;
};

Field splitField(std::string_view line) {
    const std::size_t colon = line.find(':');
    require(colon != std::string_view::npos, ErrorText::invalidFeedField);
    return {.key = line.substr(0, colon), .value = trimmed(line.substr(colon + 1))};
}

std::string singleQuoted(std::string_view value) {
    require(value.size() >= 2 && value.ends_with('\''), ErrorText::invalidScalar);
    const std::string_view inner = value.substr(1, value.size() - 2);
    std::string text;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        text += inner[i];
        if (inner.substr(i).starts_with("''")) {
            ++i; // a pair stands for one
        }
    }
    return text;
}

std::string doubleQuoted(std::string_view value) {
    const Json::Value document = Json::parse(asBytes(value));
    require(document.is_string(), ErrorText::invalidScalar);
    return document.get<std::string>();
}

// The text that a trimmed value stands for.
std::string scalar(std::string_view value) {
    if (value.starts_with('\'')) {
        return singleQuoted(value);
    }
    if (value.starts_with('"')) {
        return doubleQuoted(value);
    }
    constexpr std::string_view indicators = "!&*[{|>";
    const bool hasIndicator = !value.empty() && indicators.find(value.front()) != std::string_view::npos;
    require(!hasIndicator, ErrorText::unsupportedScalar);
    return std::string(value);
}

// Exactly "    blockMapSize: " and digits, perhaps with blanks behind them.
bool isBlockMapSize(std::string_view line) {
    constexpr std::string_view prefix = "    blockMapSize: ";
    if (!line.starts_with(prefix)) {
        return false;
    }
    line.remove_prefix(prefix.size());
    const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
    return digits > 0 && trimmed(line.substr(digits)).empty();
}

class FeedScanner {
public:
    void scan(std::string_view line) {
        const std::string_view content = trimmed(line);
        if (content.empty() || content.starts_with('#')) {
            return;
        }
        if (!line.starts_with(' ')) {
            scanTopLevel(line);
        } else if (inFiles_) {
            scanFilesList(line);
        }
    }

    [[nodiscard]] FeedDocument take() { return std::move(document_); }

private:
    void scanTopLevel(std::string_view line) {
        inFiles_ = false;
        if (line.starts_with("version:")) {
            require(!document_.version, ErrorText::duplicateFeedField);
            document_.version = scalar(splitField(line).value);
        } else if (line.starts_with("files:")) {
            require(!filesSeen_, ErrorText::invalidFilesList);
            require(splitField(line).value.empty(), ErrorText::invalidFilesList);
            filesSeen_ = true;
            inFiles_ = true;
        }
    }

    void scanFilesList(std::string_view line) {
        constexpr std::size_t indentation = 4; // of an item's keys, its dash included
        const std::string_view entry = line.substr(std::min(indentation, line.size()));
        if (line.starts_with("  - url:")) {
            document_.items.push_back({.url = scalar(splitField(entry).value), .sha512 = {}, .size = {}});
        } else if (line.starts_with("    sha512:")) {
            store(&FeedItem::sha512, entry);
        } else if (line.starts_with("    size:")) {
            store(&FeedItem::size, entry);
        } else {
            require(isBlockMapSize(line), ErrorText::unsupportedFilesList);
        }
    }

    void store(std::optional<std::string> FeedItem::* key, std::string_view entry) {
        require(!document_.items.empty(), ErrorText::invalidFilesList);
        std::optional<std::string>& value = document_.items.back().*key;
        require(!value, ErrorText::duplicateFeedField);
        value = scalar(splitField(entry).value);
    }

    FeedDocument document_;
    bool filesSeen_ = false;
    bool inFiles_ = false; // indented lines belong to the files list
};

} // namespace

FeedDocument readFeedLines(std::string_view text) {
    FeedScanner scanner;
    for (const std::string_view line : lines(text)) {
        scanner.scan(line);
    }
    return scanner.take();
}

} // namespace InstallerCore
