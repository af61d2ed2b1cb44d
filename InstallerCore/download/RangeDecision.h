#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace InstallerCore {

enum class RangeDecision {
    append,  // keep the bytes on disk and write the response behind them
    restart, // discard them and write the response from offset 0
};

// Judges the response to a (perhaps resumed) download of a whole file: its status, the number of bytes on
// disk, its Content-Range header if any, and the file's full size, both in bytes. Throws InstallerError when
// the response is neither. The whole policy for statuses and ranges is here. Pure; any thread.
[[nodiscard]] RangeDecision rangeDecision(int status, std::int64_t offset,
                                          const std::optional<std::string>& contentRange, std::int64_t total);

} // namespace InstallerCore
