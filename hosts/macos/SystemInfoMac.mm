#include "hosts/macos/SystemInfoMac.h"

#import <Foundation/Foundation.h>
#include <sys/sysctl.h>

#include <cstddef>
#include <cstdint>

namespace InstallerCore {

bool SystemInfoMac::hasArm64() const noexcept {
    std::int32_t value = 0;
    std::size_t size = sizeof value;
    return ::sysctlbyname("hw.optional.arm64", &value, &size, nullptr, 0) == 0 && value == 1;
}

SystemVersion SystemInfoMac::version() const noexcept {
    @autoreleasepool {
        const NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
        return {.major = static_cast<int>(version.majorVersion),
                .minor = static_cast<int>(version.minorVersion),
                .patch = static_cast<int>(version.patchVersion)};
    }
}

} // namespace InstallerCore
