#include "hosts/linux/diskimage/RunDecoder.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <bzlib.h>
#include <libdeflate.h>
#include <lzma.h>

#include <new>

namespace InstallerCore {

namespace {

constexpr std::uint64_t lzmaMemory = std::uint64_t{128} << 20U; // bytes; the xz presets up to 9 need 65 MiB

// The first bytes of a buffer that only grows, so that it is cleared but once.
std::span<std::byte> firstOf(Bytes& buffer, std::int64_t size) {
    const auto length = static_cast<std::size_t>(size);
    if (buffer.size() < length) {
        buffer.resize(length);
    }
    return std::span(buffer).first(length);
}

class Bzip2Stream {
public:
    Bzip2Stream() {
        if (BZ2_bzDecompressInit(&stream_, 0, 0) != BZ_OK) { // only for want of memory
            throw std::bad_alloc();
        }
    }

    Bzip2Stream(const Bzip2Stream&) = delete;
    Bzip2Stream& operator=(const Bzip2Stream&) = delete;

    ~Bzip2Stream() { BZ2_bzDecompressEnd(&stream_); }

    [[nodiscard]] bool decode(std::span<char> stored, std::span<char> decoded) {
        stream_.next_in = stored.data();
        stream_.avail_in = static_cast<unsigned>(stored.size());
        stream_.next_out = decoded.data();
        stream_.avail_out = static_cast<unsigned>(decoded.size());
        return BZ2_bzDecompress(&stream_) == BZ_STREAM_END && stream_.avail_in == 0 && stream_.avail_out == 0;
    }

private:
    bz_stream stream_{};
};

// bzip2 works on characters and asks for input that may be written.
std::span<char> asCharacters(std::span<std::byte> bytes) {
    return {reinterpret_cast<char*>(bytes.data()), bytes.size()};
}

const std::uint8_t* asNumbers(ByteView bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

bool decodeLzma(ByteView stored, std::span<std::byte> decoded) {
    std::uint64_t memory = lzmaMemory;
    std::size_t used = 0;
    std::size_t made = 0;
    const lzma_ret result =
        lzma_stream_buffer_decode(&memory, 0, nullptr, asNumbers(stored), &used, stored.size(),
                                  reinterpret_cast<std::uint8_t*>(decoded.data()), &made, decoded.size());
    if (result == LZMA_MEM_ERROR) {
        throw std::bad_alloc();
    }
    return result == LZMA_OK && used == stored.size() && made == decoded.size();
}

} // namespace

void RunDecoder::DeflateDeleter::operator()(libdeflate_decompressor* decompressor) const noexcept {
    libdeflate_free_decompressor(decompressor);
}

RunDecoder::RunDecoder(const ImageFile& file) : file_(file), deflate_(libdeflate_alloc_decompressor()) {
    if (!deflate_) {
        throw std::bad_alloc();
    }
}

ByteView RunDecoder::decode(const Run& run) {
    const std::span<std::byte> stored = firstOf(stored_, run.storedLength);
    file_.read(run.storedAt, stored);
    if (run.kind == RunKind::raw) {
        return stored;
    }
    const std::span<std::byte> decoded = firstOf(decoded_, run.sectorCount * sectorSize);
    if (!decodeExactly(run.kind, stored, decoded)) {
        throw DiskImageError("the disk image has a damaged run at sector " + std::to_string(run.firstSector));
    }
    return decoded;
}

bool RunDecoder::decodeExactly(RunKind kind, std::span<std::byte> stored,
                               std::span<std::byte> decoded) const {
    switch (kind) {
    case RunKind::zlib:
        return decodeZlib(stored, decoded);
    case RunKind::bzip2:
        return Bzip2Stream().decode(asCharacters(stored), asCharacters(decoded));
    case RunKind::lzma:
        return decodeLzma(stored, decoded);
    case RunKind::zeroFill:
    case RunKind::raw:
    case RunKind::ignore:
    case RunKind::adc:
    case RunKind::lzfse:
        break;
    }
    return false; // nothing that is decoded here
}

bool RunDecoder::decodeZlib(ByteView stored, std::span<std::byte> decoded) const {
    std::size_t used = 0;
    return libdeflate_zlib_decompress_ex(deflate_.get(), stored.data(), stored.size(), decoded.data(),
                                         decoded.size(), &used, nullptr) == LIBDEFLATE_SUCCESS &&
           used == stored.size();
}

} // namespace InstallerCore
