#pragma once

#include "InstallerCore/support/Bytes.h"

#include <string_view>

namespace InstallerCore {

// What the build put inside the program. Any thread.
class BuildConfig {
public:
    BuildConfig() = delete;

    // The configuration as compact JSON, decoded on first use. Aborts when the build is malformed.
    [[nodiscard]] static const Bytes& json();

    // The bundle identifier of the product followed by ".installer"; names the cache directory.
    static const std::string_view installerIdentifier;

private:
    // The constant from which json() comes; the build writes its definition.
    static const std::string_view base64;
};

} // namespace InstallerCore
