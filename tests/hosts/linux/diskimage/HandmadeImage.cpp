#include "tests/hosts/linux/diskimage/HandmadeImage.h"

#include "InstallerCore/support/Base64.h"

#include <bzlib.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <lzma.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t sector = 512;
constexpr std::uint32_t terminator = 0xffffffff;

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("cannot make the sample");
    }
}

std::string number(std::size_t width, std::uint64_t value) {
    std::string result(width, '\0');
    putNumber(result, 0, width, value);
    return result;
}

std::uint32_t checksumOf(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        ::crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// 136 bytes.
std::string checksumRecord(std::uint32_t checksum) {
    return number(4, 2) + number(4, 32) + number(4, checksum) + std::string(124, '\0');
}

std::string runRecord(std::uint32_t kind, std::size_t firstSector, std::size_t sectors, std::size_t offset,
                      std::size_t length) {
    return number(4, kind) + number(4, 0) + number(8, firstSector) + number(8, sectors) + number(8, offset) +
           number(8, length);
}

std::string zlibOf(std::string_view decoded) {
    std::string result(::compressBound(decoded.size()), '\0');
    uLongf length = result.size();
    require(::compress(reinterpret_cast<Bytef*>(result.data()), &length,
                       reinterpret_cast<const Bytef*>(decoded.data()), decoded.size()) == Z_OK);
    result.resize(length);
    return result;
}

std::string bzip2Of(std::string decoded) {
    std::string result(decoded.size() * 2 + 600, '\0');
    auto length = static_cast<unsigned>(result.size());
    require(BZ2_bzBuffToBuffCompress(result.data(), &length, decoded.data(),
                                     static_cast<unsigned>(decoded.size()), 1, 0, 0) == BZ_OK);
    result.resize(length);
    return result;
}

std::string lzmaOf(std::string_view decoded) {
    std::string result(lzma_stream_buffer_bound(decoded.size()), '\0');
    std::size_t length = 0;
    require(lzma_easy_buffer_encode(0, LZMA_CHECK_CRC32, nullptr,
                                    reinterpret_cast<const std::uint8_t*>(decoded.data()), decoded.size(),
                                    reinterpret_cast<std::uint8_t*>(result.data()), &length,
                                    result.size()) == LZMA_OK);
    result.resize(length);
    return result;
}

// Literals only: a count and as many bytes.
std::string adcOf(std::string_view decoded) {
    constexpr std::size_t most = 128;
    std::string result;
    for (; !decoded.empty(); decoded.remove_prefix(std::min(most, decoded.size()))) {
        const std::string_view piece = decoded.substr(0, most);
        result += static_cast<char>(0x80 + piece.size() - 1);
        result += piece;
    }
    return result;
}

// One block of the simpler of its two inner formats (LZVN): literals, each with a count above 15, and an end
// mark. All numbers have the least significant byte first.
std::string lzfseOf(std::string_view decoded) {
    constexpr std::size_t most = 256;
    std::string literals;
    for (std::string_view rest = decoded; !rest.empty(); rest.remove_prefix(most)) {
        literals += std::string("\xe0") + static_cast<char>(most - 16) + std::string(rest.substr(0, most));
    }
    literals += '\6' + std::string(7, '\0');
    std::string lengths = number(4, literals.size()) + number(4, decoded.size());
    std::reverse(lengths.begin(), lengths.end());
    return "bvxn" + lengths + literals + "bvx$";
}

} // namespace

void putNumber(std::string& bytes, std::size_t offset, std::size_t width, std::uint64_t number) {
    for (std::size_t index = width; index-- > 0; number >>= 8U) {
        bytes.at(offset + index) = static_cast<char>(number & 0xffU);
    }
}

std::string storedAs(RunKind kind, std::string_view decoded) {
    switch (kind) {
    case RunKind::zeroFill:
    case RunKind::ignore:
        return {};
    case RunKind::raw:
        return std::string(decoded);
    case RunKind::adc:
        return adcOf(decoded);
    case RunKind::zlib:
        return zlibOf(decoded);
    case RunKind::bzip2:
        return bzip2Of(std::string(decoded));
    case RunKind::lzfse:
        return lzfseOf(decoded);
    case RunKind::lzma:
        return lzmaOf(decoded);
    }
    return {};
}

std::string sampleSectors(std::size_t count, unsigned number) {
    std::string result;
    for (unsigned line = 0; result.size() < count * sector; ++line) {
        result += "Line " + std::to_string(line * line + 7919 * number) + " of sample " +
                  std::to_string(number) + '\n';
    }
    result.resize(count * sector);
    return result;
}

std::string zeroSectors(std::size_t count) {
    std::string result;
    result.resize(count * sector);
    return result;
}

void HandmadeImage::add(const std::vector<Part>& parts) {
    const std::size_t first = disk.size() / sector;
    std::string runs;
    std::string summed;
    std::size_t covered = 0;
    for (const Part& part : parts) {
        const std::string stored = storedAs(part.kind, part.decoded);
        const std::size_t sectors = part.decoded.size() / sector;
        runs +=
            runRecord(static_cast<std::uint32_t>(part.kind), covered, sectors, data.size(), stored.size());
        covered += sectors;
        data += stored;
        disk += part.decoded;
        summed += part.kind == RunKind::ignore ? std::string() : part.decoded;
    }
    runs += runRecord(terminator, covered, 0, data.size(), 0);
    tables.push_back("mish" + number(4, 1) + number(8, first) + number(8, covered) + number(8, 0) +
                     number(4, 0) + number(4, tables.size()) + std::string(24, '\0') +
                     checksumRecord(checksumOf(summed)) + number(4, runs.size() / Field::runSize) + runs);
    sumTables();
}

void HandmadeImage::sumTables() {
    std::string checksums;
    for (const std::string& table : tables) {
        checksums += table.substr(72, 4);
    }
    masterChecksum = checksumOf(checksums);
}

std::string HandmadeImage::propertyList() const {
    std::string entries;
    for (const std::string& table : tables) {
        entries += "<dict><key>Attributes</key><string>0x0050</string><key>Data</key><data>" +
                   encodeBase64(toBytes(table)) +
                   "</data><key>ID</key><string>0</string><key>Name</key><string>volume " +
                   std::to_string(entries.empty() ? 0 : 1) + "</string></dict>";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist "
           "version=\"1.0\"><dict><key>resource-fork</key><dict>"
           "<key>blkx</key><array>" +
           entries + "</array></dict></dict></plist>";
}

std::string HandmadeImage::file(const std::string& list) const {
    const std::string trailer =
        "koly" + number(4, 4) + number(4, Field::trailerSize) + number(4, 1) + number(8, 0) + number(8, 0) +
        number(8, data.size()) + number(8, 0) + number(8, 0) + number(4, 1) + number(4, 1) +
        std::string(16, '\0') +
        (hasDataChecksum ? checksumRecord(checksumOf(data)) : std::string(136, '\0')) +
        number(8, data.size()) + number(8, list.size()) + std::string(120, '\0') +
        checksumRecord(masterChecksum) + number(4, 1) + number(8, disk.size() / sector) +
        std::string(12, '\0');
    require(trailer.size() == Field::trailerSize);
    return data + list + trailer;
}

HandmadeImage imageOfAllKinds() {
    HandmadeImage image;
    image.add({{.kind = RunKind::raw, .decoded = sampleSectors(1)}});
    image.add({{.kind = RunKind::zlib, .decoded = sampleSectors(5, 1)},
               {.kind = RunKind::zeroFill, .decoded = zeroSectors(3)},
               {.kind = RunKind::bzip2, .decoded = sampleSectors(4, 2)},
               {.kind = RunKind::ignore, .decoded = zeroSectors(2)},
               {.kind = RunKind::lzma, .decoded = sampleSectors(6, 3)}});
    image.add({{.kind = RunKind::ignore, .decoded = zeroSectors(1)}});
    return image;
}

Descriptor fileOf(std::string_view content) {
    std::string pattern = std::filesystem::temp_directory_path() / "kavio-image-XXXXXX";
    Descriptor file(::mkostemp(pattern.data(), O_CLOEXEC));
    require(file.get() >= 0 && ::unlink(pattern.c_str()) == 0);
    require(::write(file.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    return file;
}

std::string contentOf(const Descriptor& file) {
    struct stat status{};
    require(::fstat(file.get(), &status) == 0);
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    require(::pread(file.get(), content.data(), content.size(), 0) == status.st_size);
    return content;
}

std::string decode(std::string_view file, const std::string& unpacker) {
    const UdifImage image(fileOf(file), unpacker);
    const Descriptor disk = fileOf("what was there before");
    image.decodeTo(disk.get());
    return contentOf(disk);
}

void expectRefusal(const std::string& text, const std::function<void()>& call) {
    try {
        call();
        ADD_FAILURE() << "no error instead of \"" << text << '"';
    } catch (const DiskImageError& error) {
        EXPECT_EQ(error.what(), text);
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another error instead of \"" << text << "\": " << error.what();
    }
}

} // namespace InstallerCore::Testing
