#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// One entry of the feed's files list, as written there.
struct FeedItem {
    std::string url;
    std::optional<std::string> sha512;
    std::optional<std::string> size;
};

// What the lines of a feed hold, before any value is looked at.
struct FeedDocument {
    std::optional<std::string> version;
    std::vector<FeedItem> items;
};

// Takes the text apart line by line; byte-order marks have been removed. Throws as readUpdateFeed() does.
[[nodiscard]] FeedDocument readFeedLines(std::string_view text);

} // namespace InstallerCore
