#include "hosts/linux/diskimage/HfsCatalog.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/DiskRange.h"
#include "hosts/linux/diskimage/VolumeListing.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace InstallerCore {

namespace {

constexpr std::size_t descriptorSize = 14; // of a node

[[noreturn]] void refuse() {
    throw DiskImageError("the catalog of the volume is damaged");
}

void require(bool condition) {
    if (!condition) {
        refuse();
    }
}

struct Extent {
    std::int64_t offset; // in the volume, as all in bytes
    std::int64_t size;
};

// The catalog file, a tree of nodes of one size.
class Catalog {
public:
    explicit Catalog(int volume) : volume_(volume) {
        constexpr std::int64_t header = 1024;
        constexpr std::size_t headerSize = 512;
        constexpr std::size_t fork = 272;
        constexpr std::size_t extents = fork + 16;
        const Bytes bytes = readDisk(volume, header, headerSize);
        const std::int64_t blockSize = bigEndian<std::uint32_t>(bytes, 40);
        require(blockSize >= 512 && blockSize <= (1 << 20) && (blockSize & (blockSize - 1)) == 0);
        for (std::size_t index = 0; index < 8; ++index) {
            const std::int64_t first = bigEndian<std::uint32_t>(bytes, extents + index * 8);
            const std::int64_t count = bigEndian<std::uint32_t>(bytes, extents + index * 8 + 4);
            extents_.push_back({.offset = first * blockSize, .size = count * blockSize});
        }
        nodeSize_ = descriptorSize + 106;
        const Bytes first = node(0);
        firstLeaf_ = bigEndian<std::uint32_t>(first, 24);
        totalNodes_ = bigEndian<std::uint32_t>(first, 36);
        nodeSize_ = bigEndian<std::uint16_t>(first, 32);
        require(nodeSize_ >= 512 && nodeSize_ <= 32'768 && (nodeSize_ & (nodeSize_ - 1)) == 0);
        std::int64_t stored = 0;
        for (const Extent& extent : extents_) {
            stored += extent.size;
        }
        require(static_cast<std::int64_t>(totalNodes_) <= stored / static_cast<std::int64_t>(nodeSize_));
    }

    [[nodiscard]] std::uint32_t firstLeaf() const { return firstLeaf_; }

    [[nodiscard]] std::uint32_t totalNodes() const { return totalNodes_; }

    [[nodiscard]] Bytes node(std::uint32_t number) const {
        Bytes bytes;
        std::int64_t position = static_cast<std::int64_t>(number) * static_cast<std::int64_t>(nodeSize_);
        for (const Extent& extent : extents_) {
            if (position < extent.size) {
                const std::size_t wanted = nodeSize_ - bytes.size();
                const auto there =
                    std::min<std::size_t>(wanted, static_cast<std::size_t>(extent.size - position));
                const Bytes piece = readDisk(volume_, extent.offset + position, there);
                bytes.insert(bytes.end(), piece.begin(), piece.end());
                if (bytes.size() == nodeSize_) {
                    return bytes;
                }
            }
            position = std::max<std::int64_t>(0, position - extent.size);
        }
        // Further extents are in a tree of their own, which a volume that was written in one go does not
        // need.
        throw DiskImageError("the catalog of the volume is damaged or in too many pieces");
    }

private:
    int volume_;
    std::vector<Extent> extents_;
    std::size_t nodeSize_ = 0;
    std::uint32_t firstLeaf_ = 0;
    std::uint32_t totalNodes_ = 0;
};

std::string posixName(ByteView utf16) {
    std::u16string units;
    for (std::size_t offset = 0; offset < utf16.size(); offset += 2) {
        units.push_back(static_cast<char16_t>(bigEndian<std::uint16_t>(utf16, offset)));
    }
    if (units.find(u':') != std::u16string::npos) {
        throw DiskImageError("the volume holds a name with a path separator in it");
    }
    std::ranges::replace(units, u'/', u':');
    try {
        std::string name;
        utf8::utf16to8(units.begin(), units.end(), std::back_inserter(name));
        return name;
    } catch (const utf8::exception&) {
        throw DiskImageError("the volume holds a name that is not Unicode");
    }
}

void takeFile(HfsEntry& entry, ByteView data) {
    constexpr std::uint32_t special = 44;
    constexpr std::uint32_t finderType = 48;
    constexpr std::size_t smallest = 248;
    require(data.size() >= smallest);
    const std::string_view kind = asText(data.subspan(finderType, 8));
    entry.folderLink = kind == "fdrpMACS";
    if (kind == "hlnkhfs+") {
        entry.fileLink = bigEndian<std::uint32_t>(data, special);
        require(entry.fileLink != 0);
    }
}

// A record is a key (length, parent, name) and data that begins with its kind.
void takeRecord(std::vector<HfsEntry>& entries, ByteView record) {
    enum Kind : std::uint16_t { folder = 1, file = 2 };

    constexpr std::size_t smallestKey = 8;
    constexpr std::size_t smallestFolder = 88;
    require(record.size() >= smallestKey);
    const std::size_t keyEnd = std::size_t{2} + bigEndian<std::uint16_t>(record, 0);
    const std::size_t nameEnd = smallestKey + std::size_t{2} * bigEndian<std::uint16_t>(record, 6);
    require(nameEnd <= keyEnd && keyEnd % 2 == 0 && keyEnd + 2 <= record.size());
    const ByteView data = record.subspan(keyEnd);
    const auto kind = bigEndian<std::uint16_t>(data, 0);
    if (kind != folder && kind != file) {
        return; // a thread, which leads from a number back to its name
    }
    if (entries.size() == mostVolumeItems) {
        throw DiskImageError("the volume has too many entries");
    }
    require(data.size() >= smallestFolder);
    HfsEntry entry{.parent = bigEndian<std::uint32_t>(record, 2),
                   .number = bigEndian<std::uint32_t>(data, 8),
                   .name = posixName(record.subspan(smallestKey, nameEnd - smallestKey)),
                   .folder = kind == folder};
    if (kind == file) {
        takeFile(entry, data);
    }
    entries.push_back(std::move(entry));
}

// The offsets of the records stand at the end of a node, last one first, with the end of the last record
// before them.
void takeNode(std::vector<HfsEntry>& entries, ByteView node) {
    const std::size_t count = bigEndian<std::uint16_t>(node, 10);
    const std::size_t table = (count + 1) * 2;
    require(descriptorSize + table <= node.size());
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t begin = bigEndian<std::uint16_t>(node, node.size() - (index + 1) * 2);
        const std::size_t end = bigEndian<std::uint16_t>(node, node.size() - (index + 2) * 2);
        require(begin >= descriptorSize && begin <= end && end <= node.size() - table);
        takeRecord(entries, node.subspan(begin, end - begin));
    }
}

} // namespace

std::vector<HfsEntry> readHfsCatalog(int volume) {
    constexpr std::byte leaf{0xff};
    const Catalog catalog(volume);
    std::vector<HfsEntry> entries;
    std::uint32_t seen = 0;
    for (std::uint32_t number = catalog.firstLeaf(); number != 0;) {
        require(++seen <= catalog.totalNodes());
        const Bytes node = catalog.node(number);
        require(node[8] == leaf);
        takeNode(entries, node);
        number = bigEndian<std::uint32_t>(node, 0);
    }
    return entries;
}

} // namespace InstallerCore
