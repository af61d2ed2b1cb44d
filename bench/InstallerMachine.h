#pragma once

#include "InstallerCore/config/Config.h"
#include "hosts/linux/LinuxHost.h"
#include "rehearsal/RehearsalRoot.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace InstallerCore::Bench {

// A machine on which the installer is measured, as a program, in a directory of its own.
class InstallerMachine {
public:
    InstallerMachine();

    // Where the release server is, and whose certificates it has (PEM).
    void connect(std::uint16_t port, const std::string& authority) const;

    // Without an application, and as if no installer had ever run.
    void clear() const;

    // The program and its arguments.
    [[nodiscard]] std::vector<std::string> installer() const;

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return directory_ / name; }

    [[nodiscard]] std::filesystem::path applications() const { return root_.applications(); }

    [[nodiscard]] const Config& config() const { return config_; }

    [[nodiscard]] const Platform& platform() const { return host_.platform(); }

private:
    Config config_;
    Testing::TemporaryDirectory directory_;
    Rehearsal::RehearsalRoot root_{directory_ / "root"};
    LinuxHost host_{root_.home()};
};

} // namespace InstallerCore::Bench
