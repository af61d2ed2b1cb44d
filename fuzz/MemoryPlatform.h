#pragma once

#include "InstallerCore/platform/Clock.h"
#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Http.h"
#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/platform/SystemLog.h"

#include <map>
#include <memory>
#include <string>

namespace InstallerCore::Fuzz {

// A platform whose file system is one directory in memory, found under every path. What no target needs
// aborts.
class MemoryPlatform {
public:
    MemoryPlatform();
    MemoryPlatform(const MemoryPlatform&) = delete;
    MemoryPlatform& operator=(const MemoryPlatform&) = delete;
    ~MemoryPlatform();

    // The directory's regular files by name.
    std::map<std::string, Bytes> entries;

    [[nodiscard]] const Platform& platform() const noexcept { return platform_; }

private:
    struct Services;

    std::unique_ptr<Services> services_;
    Platform platform_;
};

} // namespace InstallerCore::Fuzz
