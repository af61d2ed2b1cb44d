#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

// One disk image of a release. A plain value; the feed reader has validated it.
struct Artifact {
    std::string platform; // "macos"
    std::string arch;     // "arm64" or "x64"
    std::string appVersion;
    std::string minOSVersion;
    std::string url;                     // absolute and trusted
    std::int64_t sizeBytes = 0;          // exact size of the image
    std::int64_t installedSizeBytes = 0; // estimate for the installed application
    std::string sha512;                  // 128 lower-case hexadecimal digits; also the stem of the cache file

    // JSON with the members as keys, in their order. Decoding requires every key, strictly typed, and throws
    // a PlatformError of the JSON domain; it does not validate the values.
    [[nodiscard]] static Artifact decode(ByteView json);
    [[nodiscard]] Bytes encode() const;

    friend bool operator==(const Artifact&, const Artifact&) = default;
};

// A release: its artifacts in the order of the feed.
struct Manifest {
    std::vector<Artifact> artifacts;

    // The first image for macOS and exactly this architecture. Throws InstallerError "This Mac is not
    // supported by this release" when there is none; another architecture never stands in.
    [[nodiscard]] Artifact artifact(std::string_view arch) const;

    // As for Artifact, with the one key "artifacts".
    [[nodiscard]] static Manifest decode(ByteView json);
    [[nodiscard]] Bytes encode() const;

    friend bool operator==(const Manifest&, const Manifest&) = default;
};

} // namespace InstallerCore
