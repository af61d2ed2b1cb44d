#include "rehearsal/RehearsalConfiguration.h"

#include "InstallerCore/config/BuildConfig.h"

#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>

namespace InstallerCore::Rehearsal {

Bytes rehearsedConfiguration(const std::filesystem::path& file) {
    if (file.empty()) {
        return BuildConfig::json();
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) {
        throw std::runtime_error("cannot read " + file.string());
    }
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

} // namespace InstallerCore::Rehearsal
