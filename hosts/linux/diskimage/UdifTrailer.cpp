#include "hosts/linux/diskimage/UdifTrailer.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/diskimage/BlockTable.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/UdifChecksum.h"

#include <limits>
#include <string>

namespace InstallerCore {

namespace {

struct Stretch {
    std::int64_t offset;
    std::int64_t length;
};

Stretch stretchAt(ByteView bytes, std::size_t at, std::int64_t fileSize, const char* what) {
    const auto offset = bigEndian<std::uint64_t>(bytes, at);
    const auto length = bigEndian<std::uint64_t>(bytes, at + 8);
    if (!isWithin(offset, length, static_cast<std::uint64_t>(fileSize) - UdifTrailer::size)) {
        throw DiskImageError(std::string(what) + " of the disk image lies outside of the file");
    }
    return {.offset = static_cast<std::int64_t>(offset), .length = static_cast<std::int64_t>(length)};
}

void checkKind(ByteView bytes) {
    constexpr std::uint32_t knownVersion = 4;
    if (asText(bytes.first(4)) != "koly") {
        throw DiskImageError("the disk image has no trailer; it is incomplete or of another format");
    }
    if (bigEndian<std::uint32_t>(bytes, 4) != knownVersion ||
        bigEndian<std::uint32_t>(bytes, 8) != UdifTrailer::size) {
        throw DiskImageError("the disk image is of an unknown version");
    }
    // An image that was never meant to be split may leave both at 0.
    const auto number = bigEndian<std::uint32_t>(bytes, 56);
    const auto count = bigEndian<std::uint32_t>(bytes, 60);
    if (number != count || count > 1) {
        throw DiskImageError("the disk image is only one segment of several");
    }
}

std::int64_t sectorCountAt(ByteView bytes, std::size_t at) {
    const auto count = bigEndian<std::uint64_t>(bytes, at);
    if (count == 0 ||
        count > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / sectorSize)) {
        throw DiskImageError("the disk image declares an impossible size");
    }
    return static_cast<std::int64_t>(count);
}

} // namespace

UdifTrailer parseTrailer(ByteView bytes, std::int64_t fileSize) {
    checkKind(bytes);
    const Stretch data = stretchAt(bytes, 24, fileSize, "the data");
    const Stretch list = stretchAt(bytes, 216, fileSize, "the property list");
    if (list.length == 0) {
        throw DiskImageError("the disk image has no property list");
    }
    const auto dataChecksum = parseChecksum(bytes.subspan(80), "the stored data");
    const auto masterChecksum = parseChecksum(bytes.subspan(352), "the disk image");
    if (!masterChecksum) {
        throw DiskImageError("the disk image has no checksum");
    }
    return {.dataOffset = data.offset,
            .dataLength = data.length,
            .listOffset = list.offset,
            .listLength = list.length,
            .sectorCount = sectorCountAt(bytes, 492),
            .dataChecksum = dataChecksum,
            .masterChecksum = *masterChecksum};
}

} // namespace InstallerCore
