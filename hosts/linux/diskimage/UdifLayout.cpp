#include "hosts/linux/diskimage/UdifLayout.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/UdifChecksum.h"

#include <algorithm>
#include <array>
#include <limits>

namespace InstallerCore {

namespace {

constexpr std::int64_t longestList = std::int64_t{16} << 20; // bytes

// Both generations of encrypted images: marked at the start, marked at the end.
constexpr std::string_view encryptedStart = "encrcdsa";
constexpr std::string_view encryptedEnd = "cdsaencr";

bool isAt(const ImageFile& file, std::int64_t offset, std::string_view mark) {
    if (offset < 0 || offset + static_cast<std::int64_t>(mark.size()) > file.size()) {
        return false;
    }
    Bytes found(mark.size());
    file.read(offset, found);
    return asText(found) == mark;
}

UdifTrailer readTrailer(const ImageFile& file) {
    if (isAt(file, 0, encryptedStart) ||
        isAt(file, file.size() - static_cast<std::int64_t>(encryptedEnd.size()), encryptedEnd)) {
        throw DiskImageError("the disk image is encrypted");
    }
    std::array<std::byte, UdifTrailer::size> bytes{}; // no trailer, when the file is too short for one
    if (file.size() >= static_cast<std::int64_t>(bytes.size())) {
        file.read(file.size() - static_cast<std::int64_t>(bytes.size()), bytes);
    }
    return parseTrailer(bytes, file.size());
}

PropertyValue readList(const ImageFile& file, const UdifTrailer& trailer) {
    if (trailer.listLength > longestList) {
        throw DiskImageError("the property list of the disk image is too long");
    }
    Bytes document(static_cast<std::size_t>(trailer.listLength));
    file.read(trailer.listOffset, document);
    try {
        return PropertyListsLibplist().parse(document);
    } catch (const PlatformError&) {
        throw DiskImageError("the property list of the disk image cannot be read");
    }
}

// The member of what should be a dictionary, or null.
const PropertyValue* memberOf(const PropertyValue* value, std::string_view key) {
    const PropertyDictionary* const dictionary = value == nullptr ? nullptr : value->dictionary();
    return dictionary == nullptr ? nullptr : member(*dictionary, key);
}

std::vector<BlockTable> parseTables(const PropertyValue& list, const UdifTrailer& trailer) {
    const PropertyValue* const blocks = memberOf(memberOf(&list, "resource-fork"), "blkx");
    const PropertyArray* const entries = blocks == nullptr ? nullptr : blocks->array();
    if (entries == nullptr || entries->empty()) {
        throw DiskImageError("the property list of the disk image names no block tables");
    }
    std::vector<BlockTable> tables;
    for (const PropertyValue& entry : *entries) {
        const std::string called = "partition " + std::to_string(tables.size() + 1);
        const PropertyValue* const data = memberOf(&entry, "Data");
        const PropertyValue* const name = memberOf(&entry, "Name");
        if (data == nullptr || data->data() == nullptr) {
            throw DiskImageError(called + " has no block table");
        }
        tables.push_back(parseBlockTable(*data->data(), trailer, called));
        if (name != nullptr && name->text() != nullptr) {
            tables.back().name = *name->text();
        }
    }
    return tables;
}

void checkCoverage(const UdifLayout& layout) {
    std::int64_t covered = 0; // sectors
    for (const BlockTable& table : layout.tables) {
        if (table.firstSector != covered) {
            throw DiskImageError("the partitions of the disk image overlap or leave a gap");
        }
        covered += table.sectorCount;
    }
    if (covered != layout.sectorCount) {
        throw DiskImageError("the partitions of the disk image do not fill the disk");
    }
}

void checkMasterChecksum(const UdifLayout& layout) {
    std::uint32_t checksum = 0;
    for (const BlockTable& table : layout.tables) {
        std::array<std::byte, sizeof table.checksum> bytes{};
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            const std::size_t shift = 8 * (bytes.size() - 1 - index);
            bytes.at(index) = static_cast<std::byte>(table.checksum >> shift);
        }
        checksum = crc32(checksum, bytes);
    }
    if (checksum != layout.masterChecksum) {
        throw DiskImageError("the checksum of the disk image does not match");
    }
}

} // namespace

UdifLayout readLayout(const ImageFile& file) {
    UdifLayout layout{readTrailer(file), {}};
    layout.tables = parseTables(readList(file, layout), layout);
    checkCoverage(layout);
    checkMasterChecksum(layout);
    return layout;
}

} // namespace InstallerCore
