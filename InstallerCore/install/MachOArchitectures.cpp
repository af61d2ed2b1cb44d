#include "InstallerCore/install/MachOArchitectures.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace InstallerCore {

namespace {

enum class ByteOrder { big, little };

struct Format {
    ByteOrder order;
    std::size_t entrySize; // of a universal file's list; 0 for a file of one architecture
};

constexpr std::size_t wordSize = 4;
constexpr std::size_t entrySize32 = 20;
constexpr std::size_t entrySize64 = 32;
constexpr std::size_t listOffset = 8;
constexpr std::uint32_t mostEntries = 64;

std::uint32_t word(ByteView bytes, std::size_t offset, ByteOrder order) {
    require(bytes.size() >= wordSize && offset <= bytes.size() - wordSize, ErrorText::invalidMachOHeader);
    constexpr unsigned bitsInByte = 8;
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < wordSize; ++index) {
        const std::size_t place = order == ByteOrder::big ? index : wordSize - 1 - index;
        value = (value << bitsInByte) | std::to_integer<std::uint32_t>(bytes[offset + place]);
    }
    return value;
}

std::optional<Format> formatOf(std::uint32_t magic) {
    switch (magic) {
    case 0xFEEDFACF:
        return Format{.order = ByteOrder::big, .entrySize = 0};
    case 0xCFFAEDFE:
        return Format{.order = ByteOrder::little, .entrySize = 0};
    case 0xCAFEBABE:
        return Format{.order = ByteOrder::big, .entrySize = entrySize32};
    case 0xBEBAFECA:
        return Format{.order = ByteOrder::little, .entrySize = entrySize32};
    case 0xCAFEBABF:
        return Format{.order = ByteOrder::big, .entrySize = entrySize64};
    case 0xBFBAFECA:
        return Format{.order = ByteOrder::little, .entrySize = entrySize64};
    default:
        return std::nullopt;
    }
}

void addArchitecture(std::set<std::string>& architectures, std::uint32_t cpuType) {
    constexpr std::uint32_t arm64 = 0x0100000C;
    constexpr std::uint32_t x64 = 0x01000007;
    if (cpuType == arm64) {
        architectures.insert("arm64");
    } else if (cpuType == x64) {
        architectures.insert("x64");
    }
}

} // namespace

std::set<std::string> machOArchitectures(ByteView executable) {
    const auto format = formatOf(word(executable, 0, ByteOrder::big));
    require(format.has_value(), ErrorText::unsupportedMachOFormat);
    std::set<std::string> architectures;
    const std::uint32_t second = word(executable, wordSize, format->order);
    if (format->entrySize == 0) {
        addArchitecture(architectures, second);
        return architectures;
    }
    require(second >= 1 && second <= mostEntries, ErrorText::invalidMachOCount);
    for (std::size_t index = 0; index < second; ++index) {
        const std::size_t offset = listOffset + index * format->entrySize;
        addArchitecture(architectures, word(executable, offset, format->order));
    }
    return architectures;
}

} // namespace InstallerCore
