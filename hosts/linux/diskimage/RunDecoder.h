#pragma once

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/diskimage/BlockTable.h"
#include "hosts/linux/diskimage/ImageFile.h"

#include <memory>

struct libdeflate_decompressor;

namespace InstallerCore {

// Decodes raw, zlib, bzip2 and LZMA runs, one after the other; each thread has its own.
class RunDecoder {
public:
    explicit RunDecoder(const ImageFile& file);

    // The bytes of the run, until the next call. Throws DiskImageError unless what is stored decodes to
    // exactly the run's sectors and is used up by that.
    [[nodiscard]] ByteView decode(const Run& run);

private:
    struct DeflateDeleter {
        void operator()(libdeflate_decompressor* decompressor) const noexcept;
    };

    [[nodiscard]] bool decodeExactly(RunKind kind, std::span<std::byte> stored,
                                     std::span<std::byte> decoded) const;
    [[nodiscard]] bool decodeZlib(ByteView stored, std::span<std::byte> decoded) const;

    const ImageFile& file_;
    std::unique_ptr<libdeflate_decompressor, DeflateDeleter> deflate_;
    Bytes stored_;
    Bytes decoded_;
};

} // namespace InstallerCore
