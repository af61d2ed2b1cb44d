#include "tests/rehearsal/HfsReader.h"

#include "tests/support/TemporaryDirectory.h"

#include <stdexcept>
#include <string_view>

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t headerSize = 512;
constexpr std::size_t forkSize = 80;
constexpr std::size_t descriptorSize = 14; // of a node

std::uint64_t bigEndian(std::string_view text, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8U | static_cast<unsigned char>(text.at(offset + i));
    }
    return value;
}

std::uint16_t u16(std::string_view text, std::size_t offset) {
    return static_cast<std::uint16_t>(bigEndian(text, offset, 2));
}

std::uint32_t u32(std::string_view text, std::size_t offset) {
    return static_cast<std::uint32_t>(bigEndian(text, offset, 4));
}

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("this is no volume of the kind that is read here");
    }
}

// 0 size, 12 blocks, 16 eight extents: 0 first block, 4 blocks.
StoredFork readFork(std::string_view text) {
    StoredFork fork{bigEndian(text, 0, 8), u32(text, 12), {}};
    for (std::size_t at = 16; at < forkSize; at += 8) {
        for (std::uint32_t i = 0; i < u32(text, at + 4); ++i) {
            fork.blocks.push_back(u32(text, at) + i);
        }
    }
    return fork;
}

std::string contentOf(const StoredFork& fork, std::string_view volume, std::uint32_t blockSize) {
    std::string content;
    for (const std::uint32_t block : fork.blocks) {
        content += volume.substr(std::size_t{block} * blockSize, blockSize);
    }
    return content;
}

// 2 length of the key, the key, and behind it: 0 kind, 8 number, 12 dates, 32 owner and group, 88 forks.
void readRecord(std::string_view record, std::vector<StoredEntry>& entries) {
    constexpr unsigned folder = 1;
    constexpr unsigned file = 2;
    const std::string_view data = record.substr(2U + u16(record, 0));
    const unsigned kind = u16(data, 0);
    if (kind != folder && kind != file) {
        return; // a thread back to its parent
    }
    StoredEntry entry{u32(data, 8), u32(data, 12), u32(data, 24), u32(data, 32), u32(data, 36), {}};
    if (kind == file) {
        entry.forks = {readFork(data.substr(88, forkSize)), readFork(data.substr(88 + forkSize, forkSize))};
    }
    entries.push_back(entry);
}

// The nodes that hold records, from the first one on. Of the tree's header: 6 records, 10 first leaf, 18 size
// of a node. Of a node: 0 the next one, 10 records; from its end on the offsets of the records, the first one
// last.
std::vector<StoredEntry> readCatalog(std::string_view tree) {
    std::vector<StoredEntry> entries;
    const std::size_t nodeSize = u16(tree, descriptorSize + 18);
    for (std::uint32_t next = u32(tree, descriptorSize + 10); next != 0;) {
        const std::string_view node = tree.substr(next * nodeSize, nodeSize);
        for (std::size_t i = 0; i < u16(node, 10); ++i) {
            const std::size_t begin = u16(node, nodeSize - 2 * (i + 1));
            readRecord(node.substr(begin, u16(node, nodeSize - 2 * (i + 2)) - begin), entries);
        }
        next = u32(node, 0);
    }
    return entries;
}

std::set<std::uint32_t> bitsOf(std::string_view bitmap) {
    std::set<std::uint32_t> bits;
    for (std::uint32_t bit = 0; bit < 8 * bitmap.size(); ++bit) {
        if ((static_cast<unsigned char>(bitmap[bit / 8]) >> (7 - bit % 8) & 1U) != 0) {
            bits.insert(bit);
        }
    }
    return bits;
}

} // namespace

// The header: 40 size of a block, 44 blocks, 48 free ones, 112 forks of the bitmap, the further extents, the
// catalog, the attributes and a program to start.
StoredVolume readStoredVolume(const std::filesystem::path& volume) {
    constexpr std::size_t headerPlace = 1024; // and as far from the end
    const std::string content = readFile(volume);
    require(content.size() > 2 * headerPlace);
    const std::string_view header = std::string_view(content).substr(headerPlace, headerSize);
    require(header.starts_with("H+"));
    require(header == std::string_view(content).substr(content.size() - headerPlace, headerSize));
    StoredVolume stored{u32(header, 40), u32(header, 44), u32(header, 48), {}, {}, {}};
    for (std::size_t i = 0; i < 5; ++i) {
        stored.specialFiles.push_back(readFork(header.substr(112 + i * forkSize, forkSize)));
    }
    const auto special = [&](std::size_t i) {
        return contentOf(stored.specialFiles[i], content, stored.blockSize);
    };
    require(u32(special(1), descriptorSize + 6) == 0);
    stored.markedBlocks = bitsOf(special(0));
    stored.entries = readCatalog(special(2));
    return stored;
}

} // namespace InstallerCore::Testing
