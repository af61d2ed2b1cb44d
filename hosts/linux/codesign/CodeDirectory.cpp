#include "hosts/linux/codesign/CodeDirectory.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/SuperBlob.h"

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

constexpr const char* damaged = "the code directory is damaged";

constexpr std::uint32_t oldestVersion = 0x20001;
constexpr std::uint32_t newestVersion = 0x2f000;
constexpr std::uint32_t versionWithScatter = 0x20100;
constexpr std::uint32_t versionWithTeam = 0x20200;
constexpr std::uint32_t versionWithLongLimit = 0x20300;

// Where the fields are.
constexpr std::size_t versionField = 8;
constexpr std::size_t flagsField = 12;
constexpr std::size_t hashOffsetField = 16;
constexpr std::size_t identifierField = 20;
constexpr std::size_t specialSlotsField = 24;
constexpr std::size_t codeSlotsField = 28;
constexpr std::size_t codeLimitField = 32;
constexpr std::size_t hashSizeField = 36;
constexpr std::size_t hashTypeField = 37;
constexpr std::size_t pageSizeField = 39;
constexpr std::size_t scatterField = 44;
constexpr std::size_t teamField = 48;
constexpr std::size_t longLimitField = 56;

} // namespace

std::uint32_t CodeDirectory::word(std::size_t offset) const {
    demand(isWithin(offset, sizeof(std::uint32_t), blob_.size()), damaged);
    return bigEndian<std::uint32_t>(blob_, offset);
}

std::string CodeDirectory::textAt(std::uint32_t offset) const {
    demand(offset < blob_.size(), damaged);
    const std::string_view rest = asText(blob_.subspan(offset));
    const std::size_t length = rest.find('\0');
    demand(length != std::string_view::npos, damaged);
    return std::string(rest.substr(0, length));
}

CodeDirectory CodeDirectory::parse(ByteView blob) {
    constexpr std::size_t shortest = 44;
    demand(blobMagic(blob) == codeDirectoryMagic && blob.size() >= shortest, damaged);
    CodeDirectory result;
    result.blob_ = blob;
    const std::uint32_t version = result.word(versionField);
    demand(version >= oldestVersion && version <= newestVersion,
           "the code directory is of an unknown version");
    result.flags_ = result.word(flagsField);
    result.identifier_ = result.textAt(result.word(identifierField));
    demand(version < versionWithScatter || result.word(scatterField) == 0,
           "the code directory covers scattered pages, which is not supported");
    if (version >= versionWithTeam && result.word(teamField) != 0) {
        static_cast<void>(result.textAt(result.word(teamField)));
    }
    result.readCodeLimit(version);
    result.readPages();
    return result;
}

void CodeDirectory::readCodeLimit(std::uint32_t version) {
    codeLimit_ = word(codeLimitField);
    if (version >= versionWithLongLimit) {
        demand(isWithin(longLimitField, sizeof(std::uint64_t), blob_.size()), damaged);
        const auto limit = bigEndian<std::uint64_t>(blob_, longLimitField);
        codeLimit_ = limit == 0 ? codeLimit_ : limit;
    }
}

void CodeDirectory::readPages() {
    constexpr unsigned largestPage = 30; // as a power of two
    const auto type = hashType(std::to_integer<std::uint8_t>(blob_[hashTypeField]));
    demand(type.has_value(), "the code directory uses an unknown hash");
    type_ = *type;
    const std::size_t size = hashSize(type_);
    demand(std::to_integer<std::size_t>(blob_[hashSizeField]) == size, damaged);
    const auto exponent = std::to_integer<unsigned>(blob_[pageSizeField]);
    demand(exponent <= largestPage, damaged);
    pageSize_ = exponent == 0 ? codeLimit_ : std::uint64_t{1} << exponent;
    pageCount_ = word(codeSlotsField);
    const std::uint64_t pages = codeLimit_ == 0 ? 0 : (codeLimit_ - 1) / pageSize_ + 1;
    demand(pages == pageCount_, "the code directory does not cover all pages");
    specialSlotCount_ = word(specialSlotsField);
    hashOffset_ = word(hashOffsetField);
    demand(std::uint64_t{specialSlotCount_} * size <= hashOffset_ &&
               isWithin(hashOffset_, std::uint64_t{pageCount_} * size, blob_.size()),
           damaged);
}

ByteView CodeDirectory::pageHash(std::uint32_t page) const {
    const std::size_t size = hashSize(type_);
    return blob_.subspan(hashOffset_ + std::size_t{page} * size, size);
}

std::optional<ByteView> CodeDirectory::specialHash(std::uint32_t slot) const {
    if (slot == 0 || slot > specialSlotCount_) {
        return std::nullopt;
    }
    const std::size_t size = hashSize(type_);
    const ByteView sealed = blob_.subspan(hashOffset_ - std::size_t{slot} * size, size);
    const bool isAbsent =
        std::all_of(sealed.begin(), sealed.end(), [](std::byte byte) { return byte == std::byte{0}; });
    return isAbsent ? std::nullopt : std::optional(sealed);
}

Bytes CodeDirectory::cdHash() const {
    Bytes result = hash(type_, blob_);
    result.resize(cdHashSize);
    return result;
}

} // namespace InstallerCore::CodeSign
