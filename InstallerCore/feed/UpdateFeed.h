#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/support/Bytes.h"

#include <cstdint>

namespace InstallerCore {

// The largest feed that is fetched or read, in bytes.
inline constexpr std::int64_t largestFeed = 131'072;

// Reads the release channel's document into its disk images for macOS.
//
// The document is a small line-oriented subset of YAML ("latest-mac.yml" of docs/ARCHITECTURE.md): what the
// installer does not need is ignored, what it cannot read with certainty fails the whole document with the
// first error. Throws InstallerError, or a PlatformError of the JSON domain for a damaged double-quoted
// value. Keeps no state; any thread.
[[nodiscard]] Manifest readUpdateFeed(ByteView data, const Config& config);

} // namespace InstallerCore
