#include "rehearsal/signing/Blob.h"

#include "rehearsal/signing/ByteOrder.h"

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t indexEntrySize = 8;

} // namespace

Bytes makeBlob(std::uint32_t magic, ByteView content) {
    Bytes blob;
    append(blob, magic, ByteOrder::big);
    append(blob, static_cast<std::uint32_t>(headerSize + content.size()), ByteOrder::big);
    append(blob, content);
    return blob;
}

Bytes makeSuperBlob(std::uint32_t magic, const std::map<std::uint32_t, ByteView>& blobs) {
    Bytes content;
    append(content, static_cast<std::uint32_t>(blobs.size()), ByteOrder::big);
    std::size_t offset = headerSize + sizeof(std::uint32_t) + indexEntrySize * blobs.size();
    for (const auto& [slot, blob] : blobs) {
        append(content, slot, ByteOrder::big);
        append(content, static_cast<std::uint32_t>(offset), ByteOrder::big);
        offset += blob.size();
    }
    for (const auto& [slot, blob] : blobs) {
        append(content, blob);
    }
    return makeBlob(magic, content);
}

std::map<std::uint32_t, ByteView> readSuperBlob(std::uint32_t magic, ByteView bytes) {
    if (load<std::uint32_t>(bytes, 0, ByteOrder::big) != magic) {
        throw std::runtime_error("there is no signature where one should be");
    }
    const ByteView whole = slice(bytes, 0, load<std::uint32_t>(bytes, 4, ByteOrder::big));
    const auto count = load<std::uint32_t>(whole, headerSize, ByteOrder::big);
    std::map<std::uint32_t, ByteView> blobs;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = headerSize + sizeof count + indexEntrySize * i;
        const auto offset = load<std::uint32_t>(whole, entry + 4, ByteOrder::big);
        const auto length = load<std::uint32_t>(whole, std::size_t{offset} + 4, ByteOrder::big);
        blobs[load<std::uint32_t>(whole, entry, ByteOrder::big)] = slice(whole, offset, length);
    }
    return blobs;
}

} // namespace InstallerCore::Rehearsal
