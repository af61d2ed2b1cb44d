#include "tests/integration/signatures/CodeMap.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/MachOFile.h"

#include <algorithm>
#include <array>

namespace InstallerCore::Testing {

namespace {

using Rehearsal::ByteOrder;
using Rehearsal::load;

constexpr std::size_t blobHeader = 8;
constexpr std::size_t superBlobHeader = 12;
constexpr std::size_t indexEntry = 8;

constexpr const char* paddingBehindSignature = "the padding behind a signature";

std::string architectureOf(const Rehearsal::MachOSlice& slice) {
    constexpr std::uint32_t arm = 0x0100000c;
    return slice.processor == arm ? "arm64" : "x86_64";
}

// The fields of a code directory, and where each begins.
constexpr std::array<std::pair<std::size_t, const char*>, 21> directoryFields = {
    {{0, "magic"},          {4, "length"},         {8, "version"},
     {12, "flags"},         {16, "hash offset"},   {20, "identifier offset"},
     {24, "special slots"}, {28, "pages"},         {32, "code limit"},
     {36, "hash size"},     {37, "hash type"},     {38, "platform"},
     {39, "page size"},     {40, "spare"},         {44, "scatter"},
     {48, "team offset"},   {52, "spare"},         {56, "long limit"},
     {64, "segment base"},  {72, "segment limit"}, {80, "segment flags"}}};

class Mapper {
public:
    explicit Mapper(ByteView file) : file_(file) {}

    std::vector<CodeRegion> run() {
        const auto slices = Rehearsal::slicesOf(file_);
        std::size_t end = 0;
        if (Rehearsal::isUniversal(file_)) {
            end = mapList(slices.size());
        }
        std::vector<std::size_t> begins;
        for (const Rehearsal::MachOSlice& slice : slices) {
            begins.push_back(offsetOf(slice.content));
        }
        for (std::size_t i = 0; i < slices.size(); ++i) {
            add("the space between architectures", "", end, begins[i], false);
            end = begins[i] + slices[i].content.size();
            mapSlice(slices[i].content);
        }
        return std::move(regions_);
    }

private:
    void add(const std::string& kind, const std::string& part, std::size_t begin, std::size_t end,
             bool dense = true) {
        if (begin < end) {
            regions_.push_back({.kind = kind, .part = part, .begin = begin, .end = end, .dense = dense});
        }
    }

    [[nodiscard]] std::size_t offsetOf(ByteView part) const {
        return static_cast<std::size_t>(part.data() - file_.data());
    }

    // Returns its end.
    std::size_t mapList(std::size_t count) {
        constexpr std::size_t header = 8;
        constexpr std::size_t entrySize = 20;
        const std::string kind = "the list of architectures";
        add(kind, "header", 0, header);
        for (std::size_t entry = header; entry < header + count * entrySize; entry += entrySize) {
            add(kind, "processor", entry, entry + 4);
            add(kind, "capabilities", entry + 4, entry + 5);
            add(kind, "kind of processor", entry + 5, entry + 8);
            add(kind, "offset", entry + 8, entry + 12);
            add(kind, "size", entry + 12, entry + 16);
            add(kind, "alignment", entry + 16, entry + entrySize);
        }
        return header + count * entrySize;
    }

    void mapSlice(ByteView slice) {
        constexpr std::size_t header = 32;
        const auto layout = Rehearsal::readLayout(slice);
        const std::size_t base = offsetOf(slice);
        add("the header of an architecture", "", base, base + header);
        std::size_t command = header;
        for (std::size_t i = 0; i < layout.commands; ++i) {
            const auto size = load<std::uint32_t>(slice, command + 4, ByteOrder::little);
            add("a load command", std::to_string(i), base + command, base + command + size);
            command += size;
        }
        const std::size_t signature = layout.signatureOffset;
        mapPages(slice, signature);
        mapSuperBlob(slice.subspan(signature));
    }

    void mapPages(ByteView slice, std::size_t signature) {
        constexpr std::size_t pageSize = 4096; // also where hashes cover larger ones
        const std::size_t base = offsetOf(slice);
        for (std::size_t page = 0; page * pageSize < signature; ++page) {
            add("a page", "", base + page * pageSize, base + std::min((page + 1) * pageSize, signature),
                false);
        }
    }

    void mapSuperBlob(ByteView room) {
        const std::size_t base = offsetOf(room);
        const auto size = load<std::uint32_t>(room, 4, ByteOrder::big);
        const auto count = load<std::uint32_t>(room, 8, ByteOrder::big);
        add("the signature's index", "magic", base, base + 4);
        add("the signature's index", "length", base + 4, base + blobHeader);
        add("the signature's index", "count", base + blobHeader, base + superBlobHeader);
        std::size_t end = superBlobHeader + count * indexEntry;
        for (std::size_t entry = superBlobHeader; entry < end; entry += indexEntry) {
            const auto slot = load<std::uint32_t>(room, entry, ByteOrder::big);
            add("the signature's index", "slot of the " + blobName(slot), base + entry, base + entry + 4);
            add("the signature's index", "offset of the " + blobName(slot), base + entry + 4,
                base + entry + indexEntry);
        }
        for (std::size_t entry = superBlobHeader; entry < superBlobHeader + count * indexEntry;
             entry += indexEntry) {
            const auto slot = load<std::uint32_t>(room, entry, ByteOrder::big);
            const auto offset = load<std::uint32_t>(room, entry + 4, ByteOrder::big);
            const auto length = load<std::uint32_t>(room, offset + 4, ByteOrder::big);
            add("a gap in the signature", "", base + end, base + offset);
            mapBlob(slot, room.subspan(offset, length));
            end = std::max<std::size_t>(end, offset + length);
        }
        add("a gap in the signature", "", base + end, base + size);
        add(paddingBehindSignature, "", base + size, base + room.size(), false);
    }

    void mapBlob(std::uint32_t slot, ByteView blob) {
        const std::string name = blobName(slot);
        const std::size_t base = offsetOf(blob);
        if (name == "code directory") {
            mapDirectory(blob);
            return;
        }
        add("a blob", name + ": header", base, base + blobHeader);
        if (name == "message" && blob.size() > blobHeader) {
            addMessageRegions(regions_, blob.subspan(blobHeader), base + blobHeader);
        } else {
            add("a blob", name + ": content", base + blobHeader, base + blob.size());
        }
    }

    void mapDirectory(ByteView blob) {
        const auto field = [&](std::size_t offset) {
            return load<std::uint32_t>(blob, offset, ByteOrder::big);
        };
        const std::size_t base = offsetOf(blob);
        const std::size_t texts = field(20); // the identifier follows the fields
        const auto part = [&](const std::string& name, std::size_t begin, std::size_t end) {
            add("a code directory", "code directory: " + name, base + begin, base + end);
        };
        for (std::size_t i = 0; i < directoryFields.size(); ++i) {
            const auto& [begin, name] = directoryFields[i];
            const bool isLast = i + 1 == directoryFields.size();
            const std::size_t next = isLast ? begin + 8 : directoryFields[i + 1].first;
            part(name, std::min(begin, texts), std::min(next, texts));
        }
        constexpr std::size_t runtimeFields = 88;
        part("runtime", std::min(runtimeFields, texts), texts);
        const std::size_t hashSize = std::to_integer<std::size_t>(blob[36]);
        const std::size_t hashes = field(16);
        const std::size_t special = hashes - field(24) * hashSize;
        part("texts", texts, special);
        part("hashes of special slots", special, hashes);
        part("hashes of pages", hashes, blob.size());
    }

    ByteView file_;
    std::vector<CodeRegion> regions_;
};

} // namespace

std::string blobName(std::uint32_t slot) {
    constexpr std::uint32_t lastDirectory = 0x1004;
    if (slot == Rehearsal::Slot::codeDirectory ||
        (slot >= Rehearsal::Slot::moreCodeDirectories && slot <= lastDirectory)) {
        return "code directory";
    }
    switch (slot) {
    case Rehearsal::Slot::requirements:
        return "requirements";
    case Rehearsal::Slot::entitlements:
        return "entitlements";
    case Rehearsal::Slot::derEntitlements:
        return "DER entitlements";
    case Rehearsal::Slot::signature:
        return "message";
    default:
        return "blob " + std::to_string(slot);
    }
}

std::vector<CodeRegion> regionsOf(ByteView executable) {
    return Mapper(executable).run();
}

bool isPadding(ByteView executable, std::size_t offset) {
    const std::vector<CodeRegion> regions = regionsOf(executable);
    return std::any_of(regions.begin(), regions.end(), [offset](const CodeRegion& region) {
        return region.kind == paddingBehindSignature && region.begin <= offset && offset < region.end;
    });
}

std::vector<CodeSignaturePlace> signaturesIn(ByteView executable) {
    std::vector<CodeSignaturePlace> places;
    for (const Rehearsal::MachOSlice& slice : Rehearsal::slicesOf(executable)) {
        const std::size_t offset = Rehearsal::readLayout(slice.content).signatureOffset;
        const ByteView room = slice.content.subspan(offset);
        CodeSignaturePlace place{.architecture = architectureOf(slice),
                                 .begin = static_cast<std::size_t>(room.data() - executable.data()),
                                 .size = room.size(),
                                 .blobs = {}};
        for (const auto& [slot, blob] : Rehearsal::readSuperBlob(Rehearsal::Magic::embeddedSignature, room)) {
            place.blobs.emplace_back(slot, Bytes(blob.begin(), blob.end()));
        }
        places.push_back(std::move(place));
    }
    return places;
}

} // namespace InstallerCore::Testing
