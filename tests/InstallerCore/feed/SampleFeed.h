#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/feed/UpdateFeed.h"

#include <string>
#include <string_view>

namespace InstallerCore::Testing {

// The bytes 0 to 63 as the feed and as the manifest write a hash.
inline constexpr std::string_view sampleHash =
    "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+Pw==";
inline constexpr std::string_view sampleHashDigits =
    "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"
    "202122232425262728292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f";

inline Config sampleConfig() {
    return {.channelURL = "https://dist.mykavio.test/desktop/mac/latest-mac.yml",
            .allowedHosts = {"dist.mykavio.test", "mykavio.test"}};
}

// A release 1.4.2 with these items.
inline std::string feedWith(std::string_view items) {
    return "version: 1.4.2\nfiles:\n" + std::string(items);
}

// The lines of one item. The values are put there as they are.
inline std::string itemLines(std::string_view url, std::string_view sha512 = sampleHash,
                             std::string_view size = "5") {
    return "  - url: " + std::string(url) + "\n    sha512: " + std::string(sha512) +
           "\n    size: " + std::string(size) + "\n";
}

inline Manifest readFeed(std::string_view document, const Config& config = sampleConfig()) {
    return readUpdateFeed(asBytes(document), config);
}

} // namespace InstallerCore::Testing
