#pragma once

#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/PropertyValue.h"

#include <filesystem>
#include <string>

namespace InstallerCore {

// Who an application says it is. A plain value; neither text is ever empty.
struct ApplicationMetadata {
    std::string bundleID; // its CFBundleIdentifier
    std::string version;  // its CFBundleShortVersionString

    // From the property list of the bundle. Throws InstallerError "Missing application identity or version",
    // or a PlatformError when the property list cannot be read. Any thread.
    [[nodiscard]] static ApplicationMetadata read(const std::filesystem::path& application,
                                                  const Platform& platform = Platform::host());

    friend bool operator==(const ApplicationMetadata&, const ApplicationMetadata&) = default;
};

// The whole of an application's "Contents/Info.plist". Throws PlatformError.
[[nodiscard]] PropertyValue readInfoPropertyList(const std::filesystem::path& application,
                                                 const Platform& platform);

} // namespace InstallerCore
