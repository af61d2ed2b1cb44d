#include "tests/hosts/linux/codesign/SignatureBytes.h"

#include "tests/hosts/linux/codesign/MachOBytes.h"

#include <algorithm>

namespace InstallerCore::Testing {

namespace {

void word(Bytes& bytes, std::size_t offset, std::uint64_t number) {
    put(bytes, offset, number, 4, true);
}

void append(Bytes& bytes, ByteView content) {
    bytes.insert(bytes.end(), content.begin(), content.end());
}

std::size_t headerSize(std::uint32_t version) {
    if (version >= 0x20400) {
        return 88;
    }
    if (version >= 0x20300) {
        return 64;
    }
    return version >= 0x20200 ? 52 : version >= 0x20100 ? 48 : 44;
}

std::vector<Bytes> pageHashes(ByteView code, const DirectoryShape& shape) {
    const std::size_t pageSize = shape.pageBits == 0 ? code.size() : std::size_t{1} << shape.pageBits;
    std::vector<Bytes> hashes;
    for (std::size_t offset = 0; offset < code.size(); offset += pageSize) {
        hashes.push_back(
            CodeSign::hash(shape.type, code.subspan(offset, std::min(pageSize, code.size() - offset))));
    }
    return hashes;
}

} // namespace

Bytes blobOf(std::uint32_t magic, ByteView content) {
    Bytes blob(8);
    word(blob, 0, magic);
    append(blob, content);
    word(blob, 4, blob.size());
    return blob;
}

Bytes superBlobOf(const std::vector<std::pair<std::uint32_t, Bytes>>& blobs) {
    Bytes whole(12 + 8 * blobs.size());
    word(whole, 0, 0xfade0cc0);
    word(whole, 8, blobs.size());
    std::size_t entry = 12;
    for (const auto& [slot, blob] : blobs) {
        word(whole, entry, slot);
        word(whole, entry + 4, whole.size());
        append(whole, blob);
        entry += 8;
    }
    word(whole, 4, whole.size());
    return whole;
}

Bytes directoryOf(ByteView code, const DirectoryShape& shape) {
    const std::vector<Bytes> pages = pageHashes(code, shape);
    const std::uint32_t specialSlots = shape.specialHashes.empty() ? 0 : shape.specialHashes.rbegin()->first;
    Bytes bytes(headerSize(shape.version));
    const auto text = [&bytes](std::size_t field, const std::string& content) {
        word(bytes, field, bytes.size());
        append(bytes, asBytes(content));
        bytes.push_back(std::byte{0});
    };
    text(20, shape.identifier);
    if (shape.version >= 0x20200 && !shape.team.empty()) {
        text(48, shape.team);
    }
    for (std::uint32_t slot = specialSlots; slot > 0; --slot) {
        const auto found = shape.specialHashes.find(slot);
        append(bytes,
               found == shape.specialHashes.end() ? Bytes(CodeSign::hashSize(shape.type)) : found->second);
    }
    word(bytes, 16, bytes.size());
    for (const Bytes& page : pages) {
        append(bytes, page);
    }
    word(bytes, 0, 0xfade0c02);
    word(bytes, 4, bytes.size());
    word(bytes, 8, shape.version);
    word(bytes, 12, shape.flags);
    word(bytes, 24, specialSlots);
    word(bytes, 28, pages.size());
    word(bytes, 32, code.size());
    put(bytes, 36, CodeSign::hashSize(shape.type), 1, true);
    put(bytes, 37, static_cast<std::uint8_t>(shape.type), 1, true);
    put(bytes, 39, shape.pageBits, 1, true);
    return bytes;
}

} // namespace InstallerCore::Testing
