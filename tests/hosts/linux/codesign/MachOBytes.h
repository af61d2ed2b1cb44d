#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <vector>

// Mach-O files made byte by byte, for tests that then change some.
namespace InstallerCore::Testing {

// Stores the lowest bytes of the number there.
void put(Bytes& bytes, std::size_t offset, std::uint64_t number, std::size_t size, bool bigEndian);

struct ImageKind {
    bool wide = true; // addresses of 64 bits
    bool bigEndian = false;
};

// An image with three load commands: __TEXT with one section __info_plist, __LINKEDIT, which is the end of
// the file, and LC_CODE_SIGNATURE, which is the end of that.
struct Image {
    explicit Image(ImageKind imageKind = {});

    void word(std::size_t offset, std::uint64_t number) { put(bytes, offset, number, 4, kind.bigEndian); }

    // A number that is as wide as the addresses.
    void address(std::size_t offset, std::uint64_t number) {
        put(bytes, offset, number, kind.wide ? 8 : 4, kind.bigEndian);
    }

    void text(std::size_t offset, const std::string& content);

    void processor(std::uint32_t cpuType, std::uint32_t cpuSubtype);

    static constexpr std::size_t infoPlist = 0x180;
    static constexpr std::size_t linkEdit = 0x1C0;
    static constexpr std::size_t signature = 0x1E0;
    static constexpr std::size_t size = 0x200;
    static constexpr const char* infoPlistText = "<plist/>";

    ImageKind kind;
    Bytes bytes;

    // Where the commands and the fields in them are.
    std::size_t textCommand = 0;
    std::size_t linkEditCommand = 0;
    std::size_t signatureCommand = 0;
    std::size_t sectionCount = 0;
    std::size_t section = 0;
    std::size_t sectionLength = 0;
    std::size_t sectionOffset = 0;
    std::size_t linkEditOffset = 0;
    std::size_t linkEditSize = 0;
};

struct ListedImage {
    std::uint32_t cpuType;
    std::uint32_t cpuSubtype;
    std::uint64_t offset;
    Bytes image;
};

// An image for that processor, as the list has it.
[[nodiscard]] ListedImage listedImage(std::uint32_t cpuType, std::uint32_t cpuSubtype, std::uint64_t offset);

// A universal file with the images where they say, zeros between them.
[[nodiscard]] Bytes universalFile(const std::vector<ListedImage>& images, bool wide = false);

} // namespace InstallerCore::Testing
