#include "InstallerCore/support/Uuid.h"

#include "InstallerCore/support/Bytes.h"

#include <array>
#include <random>

namespace InstallerCore {

std::string randomUuid() {
    std::random_device random;
    std::array<std::byte, 16> bytes{};
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40}; // version
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80}; // variant
    std::string text = hexadecimal(bytes);
    for (const std::size_t hyphen : {8U, 13U, 18U, 23U}) {
        text.insert(hyphen, 1, '-');
    }
    return text;
}

} // namespace InstallerCore
