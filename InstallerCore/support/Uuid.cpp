#include "InstallerCore/support/Uuid.h"

#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/Bytes.h"

#include <algorithm>
#include <array>
#include <random>

namespace InstallerCore {

namespace {

constexpr std::array<std::size_t, 4> hyphens{8, 13, 18, 23};

} // namespace

std::string randomUuid() {
    std::random_device random;
    std::array<std::byte, 16> bytes{};
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40}; // version
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80}; // variant
    std::string text = hexadecimal(bytes);
    for (const std::size_t hyphen : hyphens) {
        text.insert(hyphen, 1, '-');
    }
    return text;
}

bool isUuid(std::string_view text) {
    constexpr std::size_t length = 36;
    if (text.size() != length) {
        return false;
    }
    for (std::size_t index = 0; index < length; ++index) {
        const bool isHyphen = std::find(hyphens.begin(), hyphens.end(), index) != hyphens.end();
        const bool fits = isHyphen ? text[index] == '-' : Ascii::isHexadecimalDigit(text[index]);
        if (!fits) {
            return false;
        }
    }
    return true;
}

} // namespace InstallerCore
