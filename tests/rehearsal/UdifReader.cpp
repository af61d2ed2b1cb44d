#include "tests/rehearsal/UdifReader.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "tests/support/TemporaryDirectory.h"

#include <stdexcept>
#include <string_view>

namespace InstallerCore::Testing {

namespace {

std::uint64_t bigEndian(std::string_view text, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8U | static_cast<unsigned char>(text.at(offset + i));
    }
    return value;
}

std::uint32_t u32(std::string_view text, std::size_t offset) {
    return static_cast<std::uint32_t>(bigEndian(text, offset, 4));
}

std::uint64_t u64(std::string_view text, std::size_t offset) {
    return bigEndian(text, offset, 8);
}

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("this is no disk image");
    }
}

StoredTable readTable(std::string_view name, std::string_view text) {
    constexpr std::size_t headerSize = 204;
    constexpr std::size_t runSize = 40;
    require(text.starts_with("mish") && u32(text, 4) == 1 && u32(text, 64) == 2 && u32(text, 68) == 32);
    StoredTable table{std::string(name), u64(text, 8), u64(text, 16), u32(text, 72), {}};
    const std::uint32_t count = u32(text, 200);
    require(text.size() == headerSize + count * runSize);
    for (std::size_t at = headerSize; at < text.size(); at += runSize) {
        table.runs.push_back(
            {u32(text, at), u64(text, at + 8), u64(text, at + 16), u64(text, at + 24), u64(text, at + 32)});
    }
    return table;
}

} // namespace

StoredImage readStoredImage(const std::filesystem::path& image) {
    constexpr std::size_t trailerSize = 512;
    const std::string content = readFile(image);
    require(content.size() > trailerSize);
    const std::string_view trailer = std::string_view(content).substr(content.size() - trailerSize);
    require(trailer.starts_with("koly") && u32(trailer, 4) == 4 && u32(trailer, 8) == trailerSize);
    require(u32(trailer, 80) == 2 && u32(trailer, 352) == 2);
    StoredImage stored{u64(trailer, 32), u64(trailer, 492), u32(trailer, 88), u32(trailer, 360), {}};
    const std::string_view list = std::string_view(content).substr(u64(trailer, 216), u64(trailer, 224));
    require(u64(trailer, 216) + u64(trailer, 224) + trailerSize == content.size());

    const PropertyValue document = PropertyListsLibplist().parse(asBytes(list));
    const PropertyValue* fork = member(*document.dictionary(), "resource-fork");
    require(fork != nullptr && member(*fork->dictionary(), "plst") != nullptr);
    for (const PropertyValue& table : *member(*fork->dictionary(), "blkx")->array()) {
        const PropertyDictionary& entry = *table.dictionary();
        stored.tables.push_back(
            readTable(*member(entry, "Name")->text(), asText(*member(entry, "Data")->data())));
    }
    return stored;
}

} // namespace InstallerCore::Testing
