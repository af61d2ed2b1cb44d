#include "tests/hosts/linux/codesign/MachOBytes.h"

#include <algorithm>

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t nameSize = 16;

} // namespace

void put(Bytes& bytes, std::size_t offset, std::uint64_t number, std::size_t size, bool bigEndian) {
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t place = bigEndian ? size - 1 - index : index;
        bytes.at(offset + place) = static_cast<std::byte>(number >> (8 * index));
    }
}

Image::Image(ImageKind imageKind) : kind(imageKind), bytes(size, std::byte{'.'}) {
    const std::size_t segmentSize = kind.wide ? 72 : 56;
    const std::size_t sectionSize = kind.wide ? 80 : 68;
    const std::uint32_t segment = kind.wide ? 0x19 : 1;
    textCommand = kind.wide ? 32 : 28;
    section = textCommand + segmentSize;
    linkEditCommand = section + sectionSize;
    signatureCommand = linkEditCommand + segmentSize;
    const std::size_t end = signatureCommand + 16;
    std::fill_n(bytes.begin(), end, std::byte{0});

    word(0, kind.wide ? 0xFEEDFACF : 0xFEEDFACE);
    word(16, 3); // commands
    word(20, end - textCommand);

    word(textCommand, segment);
    word(textCommand + 4, segmentSize + sectionSize);
    text(textCommand + 8, "__TEXT");
    sectionCount = textCommand + (kind.wide ? 64 : 48);
    word(sectionCount, 1);
    text(section, "__info_plist");
    text(section + nameSize, "__TEXT");
    sectionLength = section + (kind.wide ? 40 : 36);
    sectionOffset = section + (kind.wide ? 48 : 40);
    address(sectionLength, std::string(infoPlistText).size());
    word(sectionOffset, infoPlist);
    text(infoPlist, infoPlistText);

    word(linkEditCommand, segment);
    word(linkEditCommand + 4, segmentSize);
    text(linkEditCommand + 8, "__LINKEDIT");
    linkEditOffset = linkEditCommand + (kind.wide ? 40 : 32);
    linkEditSize = linkEditCommand + (kind.wide ? 48 : 36);
    address(linkEditOffset, linkEdit);
    address(linkEditSize, size - linkEdit);

    word(signatureCommand, 0x1D);
    word(signatureCommand + 4, 16);
    word(signatureCommand + 8, signature);
    word(signatureCommand + 12, size - signature);
}

void Image::text(std::size_t offset, const std::string& content) {
    const ByteView source = asBytes(content);
    std::copy(source.begin(), source.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

void Image::processor(std::uint32_t cpuType, std::uint32_t cpuSubtype) {
    word(4, cpuType);
    word(8, cpuSubtype);
}

ListedImage listedImage(std::uint32_t cpuType, std::uint32_t cpuSubtype, std::uint64_t offset) {
    Image image;
    image.processor(cpuType, cpuSubtype);
    return {.cpuType = cpuType, .cpuSubtype = cpuSubtype, .offset = offset, .image = image.bytes};
}

Bytes universalFile(const std::vector<ListedImage>& images, bool wide) {
    std::size_t size = 0;
    for (const ListedImage& listed : images) {
        size = std::max<std::size_t>(size, listed.offset + listed.image.size());
    }
    Bytes file(size);
    put(file, 0, wide ? 0xCAFEBABF : 0xCAFEBABE, 4, true);
    put(file, 4, images.size(), 4, true);
    std::size_t entry = 8;
    for (const auto& [cpuType, cpuSubtype, offset, image] : images) {
        const std::size_t number = wide ? 8 : 4;
        put(file, entry, cpuType, 4, true);
        put(file, entry + 4, cpuSubtype, 4, true);
        put(file, entry + 8, offset, number, true);
        put(file, entry + 8 + number, image.size(), number, true);
        std::copy(image.begin(), image.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
        entry += wide ? 32 : 20;
    }
    return file;
}

} // namespace InstallerCore::Testing
