#include "hosts/linux/codesign/SuperBlob.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/codesign/SignatureError.h"

namespace InstallerCore::CodeSign {

namespace {

constexpr std::uint32_t superBlobMagic = 0xfade0cc0;
constexpr std::size_t lengthField = 4;
constexpr std::size_t countField = 8;
constexpr std::size_t entries = 12;
constexpr std::size_t entrySize = 8;
constexpr std::uint32_t mostBlobs = 64;

constexpr const char* damaged = "the signature is damaged";

ByteView blobAt(ByteView whole, std::uint64_t offset, std::uint64_t firstPossible) {
    demand(offset >= firstPossible && isWithin(offset, blobHeaderSize, whole.size()), damaged);
    const std::uint64_t length = bigEndian<std::uint32_t>(whole, offset + lengthField);
    demand(length >= blobHeaderSize && isWithin(offset, length, whole.size()), damaged);
    return whole.subspan(offset, length);
}

} // namespace

std::uint32_t blobMagic(ByteView blob) {
    demand(blob.size() >= blobHeaderSize && bigEndian<std::uint32_t>(blob, lengthField) == blob.size(),
           damaged);
    return bigEndian<std::uint32_t>(blob, 0);
}

SignatureBlobs readSuperBlob(ByteView signature) {
    demand(signature.size() >= entries && bigEndian<std::uint32_t>(signature, 0) == superBlobMagic, damaged);
    const auto length = bigEndian<std::uint32_t>(signature, lengthField);
    const auto count = bigEndian<std::uint32_t>(signature, countField);
    demand(length <= signature.size() && count <= mostBlobs, damaged);
    const ByteView whole = signature.first(length);
    const std::uint64_t end = entries + std::uint64_t{count} * entrySize;
    demand(end <= whole.size(), damaged);
    SignatureBlobs blobs;
    for (std::size_t entry = entries; entry < end; entry += entrySize) {
        const auto slot = bigEndian<std::uint32_t>(whole, entry);
        const auto offset = bigEndian<std::uint32_t>(whole, entry + 4);
        demand(blobs.emplace(slot, blobAt(whole, offset, end)).second, "the signature has a blob twice");
    }
    return blobs;
}

} // namespace InstallerCore::CodeSign
