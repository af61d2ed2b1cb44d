#include "hosts/linux/codesign/MachOFile.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace InstallerCore::CodeSign {

namespace {

constexpr std::uint32_t magic32 = 0xFEEDFACE;
constexpr std::uint32_t magic64 = 0xFEEDFACF;
constexpr std::uint32_t fatMagic32 = 0xCAFEBABE;
constexpr std::uint32_t fatMagic64 = 0xCAFEBABF;
constexpr std::uint32_t mostSlices = 64;

constexpr const char* cutShort = "is cut short";

// A header's integers in its own byte order.
class Fields {
public:
    Fields(ByteView bytes, bool swapped) : bytes_(bytes), swapped_(swapped) {}

    template <typename Number>
    [[nodiscard]] Number get(std::uint64_t offset) const {
        demand(isWithin(offset, sizeof(Number), bytes_.size()), cutShort);
        Bytes field(sizeof(Number));
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), field.size(), field.begin());
        if (swapped_) {
            std::reverse(field.begin(), field.end());
        }
        return bigEndian<Number>(field, 0);
    }

    [[nodiscard]] std::uint32_t word(std::uint64_t offset) const { return get<std::uint32_t>(offset); }

    // A text of at most 16 bytes, as segments and sections are named.
    [[nodiscard]] std::string_view name(std::uint64_t offset) const {
        constexpr std::size_t longest = 16;
        demand(isWithin(offset, longest, bytes_.size()), cutShort);
        const std::string_view text = asText(bytes_.subspan(offset, longest));
        return text.substr(0, text.find('\0'));
    }

private:
    ByteView bytes_;
    bool swapped_; // little-endian
};

// Where the fields of a segment's command and of its sections are, with 32-bit and with 64-bit addresses.
struct Layout {
    std::uint32_t segmentCommand;
    std::uint64_t headerSize;
    std::uint64_t fileOffset, fileSize, sectionCount, sections;
    std::uint64_t sectionSize, sectionLength, sectionOffset;
    bool wide;
};

constexpr Layout layout32{.segmentCommand = 1,
                          .headerSize = 28,
                          .fileOffset = 32,
                          .fileSize = 36,
                          .sectionCount = 48,
                          .sections = 56,
                          .sectionSize = 68,
                          .sectionLength = 36,
                          .sectionOffset = 40,
                          .wide = false};
constexpr Layout layout64{.segmentCommand = 0x19,
                          .headerSize = 32,
                          .fileOffset = 40,
                          .fileSize = 48,
                          .sectionCount = 64,
                          .sections = 72,
                          .sectionSize = 80,
                          .sectionLength = 40,
                          .sectionOffset = 48,
                          .wide = true};

std::uint32_t magicOf(ByteView file) {
    return file.size() < sizeof(std::uint32_t) ? 0 : bigEndian<std::uint32_t>(file, 0);
}

constexpr std::uint32_t reversed(std::uint32_t number) {
    return number << 24U | (number & 0xFF00U) << 8U | (number >> 8U & 0xFF00U) | number >> 24U;
}

// What an image is for.
struct Processor {
    std::uint32_t type;
    std::uint32_t kind;

    // The rest of the kind are capabilities, which one of a list and an image may leave out.
    Processor(std::uint32_t cpuType, std::uint32_t cpuSubtype)
        : type(cpuType), kind(cpuSubtype & 0x00FFFFFF) {}

    bool operator==(const Processor&) const = default;
};

// Reads the header and the load commands of one slice.
class SliceReader {
public:
    explicit SliceReader(MachOSlice& slice)
        : slice_(slice),
          swapped_(magicOf(slice.image) == reversed(magic32) || magicOf(slice.image) == reversed(magic64)),
          header_(slice.image, swapped_),
          layout_(isWide(slice.image) ? layout64 : layout32) {}

    [[nodiscard]] Processor processor() const { return {header_.word(4), header_.word(8)}; }

    void read() {
        constexpr std::uint64_t commandCount = 16;
        constexpr std::uint64_t smallestCommand = 8;
        std::uint64_t offset = layout_.headerSize;
        const std::uint64_t end = offset + header_.word(commandCount + 4);
        demand(end <= slice_.image.size(), cutShort);
        for (std::uint32_t left = header_.word(commandCount); left > 0; --left) {
            demand(isWithin(offset, smallestCommand, end), "has a damaged list of load commands");
            const std::uint32_t size = header_.word(offset + 4);
            demand(size >= smallestCommand && isWithin(offset, size, end),
                   "has a damaged list of load commands");
            command(slice_.image.subspan(offset, size));
            offset += size;
        }
        demand(linkEditEnd_ == slice_.image.size(), "has something behind its last segment");
        if (hasSignature_) {
            demand(slice_.signatureOffset + slice_.signature.size() == linkEditEnd_,
                   "has something behind its signature");
        }
    }

private:
    static bool isWide(ByteView image) {
        const std::uint32_t magic = magicOf(image);
        demand(magic == magic32 || magic == magic64 || magic == reversed(magic32) ||
                   magic == reversed(magic64),
               "is no Mach-O image");
        return magic == magic64 || magic == reversed(magic64);
    }

    void command(ByteView bytes) {
        constexpr std::uint32_t codeSignature = 0x1D;
        const Fields fields(bytes, swapped_);
        const std::uint32_t kind = fields.word(0);
        if (kind == layout_.segmentCommand) {
            segment(fields);
        } else if (kind == codeSignature) {
            signature(fields);
        }
    }

    [[nodiscard]] std::uint64_t number(const Fields& fields, std::uint64_t offset) const {
        return layout_.wide ? fields.get<std::uint64_t>(offset) : fields.word(offset);
    }

    void segment(const Fields& fields) {
        constexpr std::uint64_t nameOffset = 8;
        const std::string_view name = fields.name(nameOffset);
        if (name == "__LINKEDIT") {
            demand(!linkEditEnd_, "has two segments for the linker's data");
            const std::uint64_t offset = number(fields, layout_.fileOffset);
            const std::uint64_t size = number(fields, layout_.fileSize);
            demand(isWithin(offset, size, slice_.image.size()), cutShort);
            linkEditEnd_ = offset + size;
        } else if (name == "__TEXT") {
            sections(fields);
        }
    }

    void sections(const Fields& fields) {
        constexpr std::uint64_t segmentName = 16;
        const std::uint32_t count = fields.word(layout_.sectionCount);
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::uint64_t section = layout_.sections + index * layout_.sectionSize;
            if (fields.name(section) == "__info_plist" && fields.name(section + segmentName) == "__TEXT") {
                const std::uint64_t offset = fields.word(section + layout_.sectionOffset);
                const std::uint64_t length = number(fields, section + layout_.sectionLength);
                demand(isWithin(offset, length, slice_.image.size()), cutShort);
                slice_.infoPlist = slice_.image.subspan(offset, length);
            }
        }
    }

    void signature(const Fields& fields) {
        constexpr std::uint64_t offsetField = 8;
        constexpr std::uint64_t sizeField = 12;
        demand(!hasSignature_, "has two signatures");
        hasSignature_ = true;
        slice_.signatureOffset = fields.word(offsetField);
        const std::uint32_t size = fields.word(sizeField);
        demand(isWithin(slice_.signatureOffset, size, slice_.image.size()), cutShort);
        slice_.signature = slice_.image.subspan(slice_.signatureOffset, size);
    }

    MachOSlice& slice_;
    bool swapped_;
    Fields header_;
    const Layout& layout_;
    std::optional<std::uint64_t> linkEditEnd_;
    bool hasSignature_ = false;
};

std::string architectureName(const Processor& processor) {
    constexpr std::uint32_t arm64e = 2;
    constexpr std::uint32_t haswell = 8;
    switch (processor.type) {
    case 0x00000007:
        return "i386";
    case 0x01000007:
        return processor.kind == haswell ? "x86_64h" : "x86_64";
    case 0x0000000C:
        return "arm";
    case 0x0100000C:
        return processor.kind == arm64e ? "arm64e" : "arm64";
    case 0x00000012:
        return "ppc";
    case 0x01000012:
        return "ppc64";
    default:
        return "processor " + std::to_string(processor.type);
    }
}

bool isZero(ByteView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::byte byte) { return byte == std::byte{0}; });
}

struct ListedSlice {
    Processor processor;
    ByteView image;
};

// The slices of a universal file as its list has them, in the order of the file.
std::vector<ListedSlice> listedSlices(ByteView file) {
    constexpr std::uint64_t entries = 8;
    const bool wide = magicOf(file) == fatMagic64;
    const std::uint64_t entrySize = wide ? 32 : 20;
    const Fields fields(file, false);
    const std::uint32_t count = fields.word(4);
    demand(count >= 1 && count <= mostSlices, "has an impossible number of architectures");
    std::vector<ListedSlice> slices;
    slices.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        const std::uint64_t entry = entries + index * entrySize;
        const std::uint64_t offset =
            wide ? fields.get<std::uint64_t>(entry + 8) : std::uint64_t{fields.word(entry + 8)};
        const std::uint64_t size =
            wide ? fields.get<std::uint64_t>(entry + 16) : std::uint64_t{fields.word(entry + 12)};
        demand(isWithin(offset, size, file.size()), cutShort);
        slices.push_back(
            {.processor = {fields.word(entry), fields.word(entry + 4)}, .image = file.subspan(offset, size)});
    }
    std::sort(slices.begin(), slices.end(),
              [](const ListedSlice& a, const ListedSlice& b) { return a.image.data() < b.image.data(); });
    const std::byte* end = file.data() + entries + count * entrySize;
    for (const ListedSlice& slice : slices) {
        demand(slice.image.data() >= end, "has architectures that overlap");
        demand(isZero({end, slice.image.data()}), "has something between its architectures");
        end = slice.image.data() + slice.image.size();
    }
    demand(end == file.data() + file.size(), "has something behind its last architecture");
    return slices;
}

} // namespace

bool isMachO(ByteView file) {
    switch (magicOf(file)) {
    case magic32:
    case magic64:
    case reversed(magic32):
    case reversed(magic64):
    case fatMagic32:
    case fatMagic64:
        return true;
    default:
        return false;
    }
}

std::vector<MachOSlice> machOSlices(ByteView file) {
    const std::uint32_t magic = magicOf(file);
    std::vector<MachOSlice> slices;
    if (magic != fatMagic32 && magic != fatMagic64) {
        SliceReader(slices.emplace_back(MachOSlice{.architecture = "", .image = file})).read();
        return slices;
    }
    for (const ListedSlice& listed : listedSlices(file)) {
        MachOSlice& slice = slices.emplace_back(
            MachOSlice{.architecture = architectureName(listed.processor), .image = listed.image});
        at(slice.architecture, [&] {
            SliceReader reader(slice);
            // A Mac looks for the architecture in the list, and then goes by the image's own header.
            demand(reader.processor() == listed.processor, "is for another processor than the list names");
            reader.read();
        });
    }
    return slices;
}

} // namespace InstallerCore::CodeSign
