#include "bench/InstallerMachine.h"

#include "InstallerCore/config/BuildConfig.h"

namespace InstallerCore::Bench {

InstallerMachine::InstallerMachine() : config_(Config::decode(BuildConfig::json())) {
    root_.install();
}

void InstallerMachine::connect(std::uint16_t port, const std::string& authority) const {
    Testing::writeFile(directory_ / "port", std::to_string(port) + "\n");
    Testing::writeFile(directory_ / "authority.pem", authority);
}

void InstallerMachine::clear() const {
    for (const auto& place : {root_.applications(), root_.home()}) {
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
    }
}

std::vector<std::string> InstallerMachine::installer() const {
    return {REHEARSE_INSTALLER, directory_.path()};
}

} // namespace InstallerCore::Bench
