#pragma once

#include "hosts/linux/codesign/HashType.h"

#include <cstdint>
#include <optional>
#include <string>

namespace InstallerCore::CodeSign {

// The list of hashes that a signature signs: one for each page of the code and one for each special slot.
// A view of the blob's bytes, which it does not own; its fields are copies. Never changes; any thread.
//
// Layout: CS_CodeDirectory in cs_blobs.h of Apple's XNU; all integers are big-endian.
class CodeDirectory {
public:
    static constexpr std::uint32_t adHoc = 0x2;       // flags
    static constexpr std::uint32_t runtime = 0x10000; // the hardened runtime

    // The whole blob, every bound of it checked. Throws SignatureError.
    [[nodiscard]] static CodeDirectory parse(ByteView blob);

    [[nodiscard]] ByteView blob() const noexcept { return blob_; }

    [[nodiscard]] HashType type() const noexcept { return type_; }

    [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }

    [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }

    // How many bytes of the code are hashed.
    [[nodiscard]] std::uint64_t codeLimit() const noexcept { return codeLimit_; }

    // In bytes; all of the code is one page when it says so.
    [[nodiscard]] std::uint64_t pageSize() const noexcept { return pageSize_; }

    [[nodiscard]] std::uint32_t pageCount() const noexcept { return pageCount_; }

    [[nodiscard]] ByteView pageHash(std::uint32_t page) const;

    // Special slots are counted from 1.
    [[nodiscard]] std::uint32_t specialSlotCount() const noexcept { return specialSlotCount_; }

    // The hash that is sealed there; absent when the slot is beyond the list or all zeros.
    [[nodiscard]] std::optional<ByteView> specialHash(std::uint32_t slot) const;

    // What identifies this very code: the blob's own hash, cut to 20 bytes.
    [[nodiscard]] Bytes cdHash() const;

private:
    CodeDirectory() = default;

    void readCodeLimit(std::uint32_t version);
    void readPages();
    [[nodiscard]] std::string textAt(std::uint32_t offset) const;
    [[nodiscard]] std::uint32_t word(std::size_t offset) const;

    ByteView blob_;
    HashType type_ = HashType::sha1;
    std::uint32_t flags_ = 0;
    std::string identifier_;
    std::uint64_t codeLimit_ = 0;
    std::uint64_t pageSize_ = 0;
    std::uint32_t pageCount_ = 0;
    std::uint32_t specialSlotCount_ = 0;
    std::uint32_t hashOffset_ = 0; // of page 0; special slots lie before it
};

} // namespace InstallerCore::CodeSign
