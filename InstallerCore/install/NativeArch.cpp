#include "InstallerCore/install/NativeArch.h"

#include "InstallerCore/platform/SystemInfo.h"

namespace InstallerCore {

std::string nativeArch(const Platform& platform) {
    return platform.system.hasArm64() ? "arm64" : "x64";
}

} // namespace InstallerCore
