#pragma once

#include "InstallerCore/platform/Platform.h"

#include <optional>
#include <string>

namespace InstallerCore {

// The append-only log of milestones, "events.jsonl" in the cache directory: one compact JSON object a line
// with "event", "sessionId", "platform", "timestamp" (milliseconds since 1970 as a number) and, when a
// release is meant, "appVersion". A log of more than a million bytes starts afresh.
class InstallerEvents {
public:
    InstallerEvents() = delete;

    // Appends one milestone. Never fails visibly: one that cannot be written is dropped with a line in the
    // system log. Any thread; one record at a time in the process.
    static void record(const std::string& event, const std::optional<std::string>& version = std::nullopt,
                       const Platform& platform = Platform::host()) noexcept;
};

} // namespace InstallerCore
