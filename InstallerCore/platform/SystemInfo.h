#pragma once

namespace InstallerCore {

// Facts about this machine. May be called from any thread.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;

    // The processor is a 64-bit ARM, also when this process runs translated. False when unknown.
    [[nodiscard]] virtual bool hasArm64() const noexcept = 0;
};

} // namespace InstallerCore
