#include "rehearsal/UdifRuns.h"

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

// Each library wants its own pointers to the same bytes, and takes what it only reads as writable.
template <typename Byte>
Byte* bytesOf(std::string& text) {
    return reinterpret_cast<Byte*>(text.data());
}

void requireEncoded(bool encoded) {
    if (!encoded) {
        throw std::runtime_error("a run of the disk image cannot be compressed");
    }
}

std::string encodeZlib(std::string& content) {
    uLongf length = compressBound(content.size());
    std::string stored(length, '\0');
    requireEncoded(compress2(bytesOf<Bytef>(stored), &length, bytesOf<Bytef>(content), content.size(),
                             Z_DEFAULT_COMPRESSION) == Z_OK);
    stored.resize(length);
    return stored;
}

std::string encodeBzip2(std::string& content) {
    constexpr int largestBlocks = 9;
    auto length = static_cast<unsigned>(content.size() + content.size() / 100 + 600); // as its manual asks
    std::string stored(length, '\0');
    requireEncoded(BZ2_bzBuffToBuffCompress(stored.data(), &length, content.data(),
                                            static_cast<unsigned>(content.size()), largestBlocks, 0,
                                            0) == BZ_OK);
    stored.resize(length);
    return stored;
}

std::string encodeLzma(std::string& content) {
    lzma_options_lzma options;
    requireEncoded(lzma_lzma_preset(&options, LZMA_PRESET_DEFAULT) == 0);
    // A larger dictionary than the run would only cost memory.
    options.dict_size =
        std::max<std::uint32_t>(static_cast<std::uint32_t>(content.size()), LZMA_DICT_SIZE_MIN);
    std::array<lzma_filter, 2> filters = {
        {{.id = LZMA_FILTER_LZMA2, .options = &options}, {.id = LZMA_VLI_UNKNOWN, .options = nullptr}}};
    std::string stored(lzma_stream_buffer_bound(content.size()), '\0');
    std::size_t length = 0;
    requireEncoded(lzma_stream_buffer_encode(
                       filters.data(), LZMA_CHECK_CRC32, nullptr, bytesOf<std::uint8_t>(content),
                       content.size(), bytesOf<std::uint8_t>(stored), &length, stored.size()) == LZMA_OK);
    stored.resize(length);
    return stored;
}

EncodedRun compress(std::string& content, UdifCompression compression) {
    switch (compression) {
    case UdifCompression::raw:
        return {.kind = udifRaw, .stored = content};
    case UdifCompression::zlib:
        return {.kind = udifZlib, .stored = encodeZlib(content)};
    case UdifCompression::bzip2:
        return {.kind = udifBzip2, .stored = encodeBzip2(content)};
    case UdifCompression::lzma:
        return {.kind = udifLzma, .stored = encodeLzma(content)};
    }
    throw std::runtime_error("there is no such compression");
}

} // namespace

EncodedRun encodeRun(std::string content, UdifCompression compression, UdifZeros zeros) {
    if (zeros != UdifZeros::stored && content.find_first_not_of('\0') == std::string::npos) {
        return {.kind = zeros == UdifZeros::filled ? udifZeroFill : udifIgnore, .stored = {}};
    }
    EncodedRun run = compress(content, compression);
    if (run.stored.size() >= content.size()) {
        run = {.kind = udifRaw, .stored = std::move(content)};
    }
    return run;
}

} // namespace InstallerCore::Rehearsal
