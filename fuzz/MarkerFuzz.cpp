#include "InstallerCore/install/PendingInstallation.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"
#include "fuzz/MemoryPlatform.h"
#include "fuzz/UriJudge.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <set>

// The input is the current channel's address on the first line and behind it the content of the marker.

namespace InstallerCore::Fuzz {

namespace {

constexpr std::size_t longestMarker = 65'536;

bool isText(const std::string& bytes) {
    try {
        static_cast<void>(nlohmann::json(bytes).dump());
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

// The rule; absent when the marker cannot be read.
std::optional<bool> expected(const std::string& marker, const std::string& channel) {
    if (marker.size() > longestMarker || !isText(marker)) {
        return std::nullopt;
    }
    if (marker == channel) {
        return true;
    }
    const auto stored = judgedParts(marker);
    const auto current = judgedParts(channel);
    if (!stored || !current) {
        return false;
    }
    const std::set<std::string> storedPaths = {"/desktop/channel.json", "/desktop/mac/channel.json"};
    const std::set<std::string> currentPaths = {"/desktop/mac/channel.json", "/desktop/mac/latest-mac.yml"};
    return stored->scheme == current->scheme && stored->host == current->host &&
           stored->port == current->port && storedPaths.contains(stored->path) &&
           currentPaths.contains(current->path);
}

std::optional<bool> found(const MemoryPlatform& memory, const std::string& channel) {
    try {
        return PendingInstallation::shouldResume("/cache", channel, memory.platform());
    } catch (const PlatformError& error) {
        check(error.is(FileErrorCode::readNotText) || error.is(FileErrorCode::readTooLarge),
              "a marker is unreadable in two ways");
        return std::nullopt;
    }
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    using Fuzz::check;
    const auto lines = Fuzz::pieces(Fuzz::textOf(data, size), '\n', 2);
    const std::string channel(lines.front());
    const std::string marker(lines.size() > 1 ? lines.back() : "");
    Fuzz::MemoryPlatform memory;
    memory.entries["pending-install"] = toBytes(marker);
    check(Fuzz::found(memory, channel) == Fuzz::expected(marker, channel), "the marker decides by the rule");

    PendingInstallation::begin("/cache", channel, memory.platform());
    check(Fuzz::found(memory, channel) == Fuzz::expected(channel, channel), "what was begun is resumed");
    check(memory.entries.size() == 1, "there is one marker");
    PendingInstallation::complete("/cache", memory.platform());
    check(memory.entries.empty() && Fuzz::found(memory, channel) == false, "what was completed is not");
    return 0;
}
