#include "hosts/linux/diskimage/UdifChecksum.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/diskimage/DiskImageError.h"

#include <libdeflate.h>
#include <zlib.h>

namespace InstallerCore {

std::optional<std::uint32_t> parseChecksum(ByteView record, const std::string& of) {
    constexpr std::uint32_t none = 0;
    constexpr std::uint32_t crc = 2;
    constexpr std::uint32_t crcBits = 32;
    const auto kind = bigEndian<std::uint32_t>(record, 0);
    const auto bits = bigEndian<std::uint32_t>(record, 4);
    if (kind == none) {
        return std::nullopt;
    }
    if (kind != crc || bits != crcBits) {
        throw DiskImageError("the checksum of " + of + " is of an unknown kind");
    }
    return bigEndian<std::uint32_t>(record, 8);
}

std::uint32_t crc32(std::uint32_t soFar, ByteView bytes) {
    return libdeflate_crc32(soFar, bytes.data(), bytes.size());
}

std::uint32_t combineCrc32(std::uint32_t first, std::uint32_t second, std::int64_t secondLength) {
    return static_cast<std::uint32_t>(::crc32_combine64(first, second, secondLength));
}

std::uint32_t crc32OfZeros(std::int64_t length) {
    constexpr std::byte zero{};
    std::uint32_t result = 0;
    std::uint32_t power = crc32(0, ByteView(&zero, 1)); // of as many zeros as this binary digit stands for
    for (std::int64_t digit = 1; length != 0; length >>= 1U, digit <<= 1U) {
        if ((length & 1) != 0) {
            result = combineCrc32(result, power, digit);
        }
        if (length > 1) {
            power = combineCrc32(power, power, digit);
        }
    }
    return result;
}

} // namespace InstallerCore
