#include "InstallerCore/support/Base64.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"
#include "hosts/linux/diskimage/UdifImage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The input is a trailer, a block table behind its length in two bytes, and what is stored. The property list
// is made here, and the trailer corrected where otherwise hardly anything would be read.

namespace {

using namespace InstallerCore;
using Fuzz::check;

constexpr std::size_t trailerSize = 512;

void put(std::string& bytes, std::size_t offset, std::size_t width, std::uint64_t number) {
    for (std::size_t index = width; index-- > 0; number >>= 8U) {
        bytes.at(offset + index) = static_cast<char>(number & 0xffU);
    }
}

// Bit by bit, as the definition has it.
std::uint32_t plainCrc32(std::string_view bytes) {
    std::uint32_t result = 0xffffffff;
    for (const char byte : bytes) {
        result ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            result = (result >> 1U) ^ ((result & 1U) != 0 ? 0xedb88320U : 0U);
        }
    }
    return ~result;
}

std::string imageOf(std::string_view input) {
    std::string trailer(input.substr(0, trailerSize));
    const auto length = static_cast<std::size_t>(static_cast<std::uint8_t>(input[trailerSize])) << 8U |
                        static_cast<std::uint8_t>(input[trailerSize + 1]);
    const std::string_view table = input.substr(trailerSize + 2, length);
    const std::string_view stored = input.substr(trailerSize + 2 + table.size());
    const std::string list =
        "<plist><dict><key>resource-fork</key><dict><key>blkx</key><array><dict><key>Data</key>"
        "<data>" +
        encodeBase64(asBytes(table)) + "</data></dict></array></dict></dict></plist>";
    put(trailer, 216, 8, stored.size());
    put(trailer, 224, 8, list.size());
    if (table.size() >= 76) {
        put(trailer, 360, 4, plainCrc32(table.substr(72, 4)));
    }
    return std::string(stored) + list + trailer;
}

// A file without a name.
Descriptor file(std::string_view content) {
    Descriptor result(::open("/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    check(::pwrite(result.get(), content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()),
          "the input can be written");
    return result;
}

void checkPartitions(const UdifImage& image) {
    std::int64_t covered = 0;
    for (const UdifImage::Partition& partition : image.partitions()) {
        check(partition.firstSector == covered, "partitions follow each other");
        check(partition.sectorCount >= 0, "no partition is negative");
        covered += partition.sectorCount;
    }
    check(covered * 512 == image.size(), "the partitions are the disk");
}

// The table's checksum leaves out ignored runs, so only a disk without such can be judged as a whole.
void checkDisk(const Descriptor& disk, std::int64_t size, std::string_view table) {
    constexpr std::int64_t mostJudged = 1 << 20;
    struct stat status{};
    check(::fstat(disk.get(), &status) == 0 && status.st_size == size, "the disk is as long as it was said");
    for (std::size_t run = 204; run + 40 <= table.size(); run += 40) {
        if (table.substr(run, 4) == std::string_view("\0\0\0\2", 4)) {
            return;
        }
    }
    if (size <= mostJudged) {
        std::string content(static_cast<std::size_t>(size), '\0');
        check(::pread(disk.get(), content.data(), content.size(), 0) == size, "the disk can be read");
        std::string checksum(4, '\0');
        put(checksum, 0, 4, plainCrc32(content));
        check(table.substr(72, 4) == checksum, "a disk that was decoded has the checksum of its table");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < trailerSize + 2) {
        return -1;
    }
    const std::string_view input = Fuzz::textOf(data, size);
    const auto length = static_cast<std::size_t>(data[trailerSize]) << 8U | data[trailerSize + 1];
    try {
        const UdifImage image(file(imageOf(input)), "/nonexistent/unpacker");
        checkPartitions(image);
        const Descriptor disk = file({});
        image.decodeTo(disk.get());
        checkDisk(disk, image.size(), input.substr(trailerSize + 2, length));
    } catch (const DiskImageError& error) {
        check(*error.what() != '\0', "a refusal has a reason");
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::processLaunch, "nothing but the missing unpacker fails");
    }
    return 0;
}
