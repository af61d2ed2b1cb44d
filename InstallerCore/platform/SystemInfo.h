#pragma once

namespace InstallerCore {

struct SystemVersion {
    int major = 0;
    int minor = 0;
    int patch = 0;
};

// Facts about this machine. May be called from any thread.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;

    // The processor is a 64-bit ARM, also when this process runs translated. False when unknown.
    [[nodiscard]] virtual bool hasArm64() const noexcept = 0;

    // The version of the operating system.
    [[nodiscard]] virtual SystemVersion version() const noexcept = 0;
};

} // namespace InstallerCore
