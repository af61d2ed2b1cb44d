#include "rehearsal/signing/MachOFile.h"

#include "rehearsal/signing/ByteOrder.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::uint32_t universalMagic = 0xcafebabe; // big-endian
constexpr std::uint32_t magic64 = 0xfeedfacf;        // little-endian
constexpr std::size_t fatHeaderSize = 8;
constexpr std::size_t fatEntrySize = 20;
constexpr unsigned largestAlignment = 15; // as a power of two

// mach_header_64
constexpr std::size_t processorField = 4;
constexpr std::size_t fileTypeField = 12;
constexpr std::size_t commandCountField = 16;
constexpr std::size_t commandSizeField = 20;
constexpr std::size_t headerSize = 32;
constexpr std::uint32_t programType = 2;

// load commands
constexpr std::uint32_t segmentCommand = 0x19;
constexpr std::uint32_t signatureCommand = 0x1d;
constexpr std::uint32_t buildVersionCommand = 0x32;
constexpr std::size_t signatureCommandSize = 16;
constexpr std::size_t sdkField = 16;

// segment_command_64 and section_64
constexpr std::size_t memorySizeField = 32;
constexpr std::size_t fileOffsetField = 40;
constexpr std::size_t fileSizeField = 48;
constexpr std::size_t sectionCountField = 64;
constexpr std::size_t firstSectionField = 72;
constexpr std::size_t sectionSize = 80;
constexpr std::size_t sectionLengthField = 40;
constexpr std::size_t sectionOffsetField = 48;

std::uint32_t little(ByteView bytes, std::size_t offset) {
    return load<std::uint32_t>(bytes, offset, ByteOrder::little);
}

std::uint64_t little64(ByteView bytes, std::size_t offset) {
    return load<std::uint64_t>(bytes, offset, ByteOrder::little);
}

std::uint32_t big(ByteView bytes, std::size_t offset) {
    return load<std::uint32_t>(bytes, offset, ByteOrder::big);
}

// A name of at most 16 bytes, filled up with NUL.
std::string_view name(ByteView bytes, std::size_t offset) {
    constexpr std::size_t nameSize = 16;
    const std::string_view text = asText(slice(bytes, offset, nameSize));
    return text.substr(0, text.find('\0'));
}

std::size_t alignedTo(std::size_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}

void readSections(ByteView file, ByteView command, bool text, MachOLayout& layout) {
    for (std::size_t i = 0; i < little(command, sectionCountField); ++i) {
        const ByteView section = slice(command, firstSectionField + i * sectionSize, sectionSize);
        const std::size_t offset = little(section, sectionOffsetField);
        const std::size_t length = little64(section, sectionLengthField);
        if (offset == 0 || length == 0) {
            continue; // nothing of it is in the file
        }
        layout.firstSection = std::min(layout.firstSection, offset);
        if (text && name(section, 0) == "__info_plist") {
            layout.infoPlist = slice(file, offset, length);
        }
    }
}

void readSegment(ByteView file, ByteView command, std::size_t position, MachOLayout& layout) {
    const std::string_view segment = name(command, 8);
    if (segment == "__LINKEDIT") {
        layout.linkEditCommand = position;
    } else if (segment == "__TEXT") {
        layout.textSize = little64(command, fileSizeField);
    }
    readSections(file, command, segment == "__TEXT", layout);
}

void readCommand(ByteView file, ByteView command, std::size_t position, MachOLayout& layout) {
    switch (little(command, 0)) {
    case segmentCommand:
        readSegment(file, command, position, layout);
        break;
    case signatureCommand:
        layout.signatureCommand = position;
        layout.signatureOffset = little(command, 8);
        break;
    case buildVersionCommand:
        layout.systemVersion = little(command, sdkField);
        break;
    default:
        break;
    }
}

} // namespace

bool isUniversal(ByteView file) {
    return big(file, 0) == universalMagic;
}

std::vector<MachOSlice> slicesOf(ByteView file) {
    if (!isUniversal(file)) {
        return {
            {.processor = little(file, processorField), .processorKind = 0, .alignment = 0, .content = file}};
    }
    std::vector<MachOSlice> slices;
    for (std::size_t i = 0; i < big(file, 4); ++i) {
        const ByteView entry = slice(file, fatHeaderSize + i * fatEntrySize, fatEntrySize);
        if (big(entry, 16) > largestAlignment) {
            throw std::runtime_error("the alignment of a slice is malformed");
        }
        slices.push_back({.processor = big(entry, 0),
                          .processorKind = big(entry, 4),
                          .alignment = big(entry, 16),
                          .content = slice(file, big(entry, 8), big(entry, 12))});
    }
    return slices;
}

Bytes makeUniversal(const std::vector<MachOSlice>& slices) {
    Bytes file;
    append(file, universalMagic, ByteOrder::big);
    append(file, static_cast<std::uint32_t>(slices.size()), ByteOrder::big);
    std::size_t end = fatHeaderSize + slices.size() * fatEntrySize;
    for (const MachOSlice& part : slices) {
        const std::size_t start = alignedTo(end, std::size_t{1} << part.alignment);
        for (const std::size_t value : {std::size_t{part.processor}, std::size_t{part.processorKind}, start,
                                        part.content.size(), std::size_t{part.alignment}}) {
            append(file, static_cast<std::uint32_t>(value), ByteOrder::big);
        }
        end = start + part.content.size();
    }
    for (const MachOSlice& part : slices) {
        file.resize(alignedTo(file.size(), std::size_t{1} << part.alignment));
        append(file, part.content);
    }
    return file;
}

MachOLayout readLayout(ByteView file) {
    if (little(file, 0) != magic64) {
        throw std::runtime_error("this is no executable for a processor of 64 bits");
    }
    MachOLayout layout{.processor = little(file, processorField),
                       .program = little(file, fileTypeField) == programType,
                       .commands = little(file, commandCountField),
                       .commandsEnd = headerSize + little(file, commandSizeField),
                       .firstSection = file.size()};
    std::size_t position = headerSize;
    for (std::size_t i = 0; i < layout.commands; ++i) {
        const std::size_t size = little(file, position + 4);
        readCommand(file, slice(file, position, size), position, layout);
        position += size;
    }
    if (position != layout.commandsEnd || !layout.linkEditCommand) {
        throw std::runtime_error("the load commands of an executable are malformed");
    }
    return layout;
}

void setSignaturePlace(Bytes& file, const MachOLayout& layout, std::size_t room) {
    const std::size_t command = layout.signatureCommand.value_or(layout.commandsEnd);
    if (!layout.signatureCommand) {
        if (layout.commandsEnd + signatureCommandSize > layout.firstSection) {
            throw std::runtime_error("there is no room for the load command of a signature");
        }
        store(file, commandCountField, static_cast<std::uint32_t>(layout.commands + 1), ByteOrder::little);
        store(file, commandSizeField,
              static_cast<std::uint32_t>(layout.commandsEnd - headerSize + signatureCommandSize),
              ByteOrder::little);
        store(file, command, signatureCommand, ByteOrder::little);
        store(file, command + 4, std::uint32_t{signatureCommandSize}, ByteOrder::little);
    }
    store(file, command + 8, static_cast<std::uint32_t>(file.size()), ByteOrder::little);
    store(file, command + 12, static_cast<std::uint32_t>(room), ByteOrder::little);

    constexpr std::size_t largestPage = 0x4000;
    const std::size_t linkEdit = *layout.linkEditCommand;
    const std::uint64_t size = file.size() + room - little64(file, linkEdit + fileOffsetField);
    store(file, linkEdit + fileSizeField, size, ByteOrder::little);
    store(file, linkEdit + memorySizeField, std::uint64_t{alignedTo(size, largestPage)}, ByteOrder::little);
}

Bytes readBytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    Bytes content(stream ? static_cast<std::size_t>(std::filesystem::file_size(path)) : 0);
    stream.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
    if (!stream) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return content;
}

void writeBytes(const std::filesystem::path& path, ByteView content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << asText(content);
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

} // namespace InstallerCore::Rehearsal
