#pragma once

#include "hosts/linux/diskimage/BlockTable.h"
#include "hosts/linux/diskimage/UdifImage.h"
#include "hosts/posix/Descriptor.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore::Testing {

// Overwrites that many bytes at the offset with the number, most significant first.
void putNumber(std::string& bytes, std::size_t offset, std::size_t width, std::uint64_t number);

// As runs of each kind are stored.
[[nodiscard]] std::string storedAs(RunKind kind, std::string_view decoded);

// Text that a compressor makes shorter, and no two calls with different numbers make alike.
[[nodiscard]] std::string sampleSectors(std::size_t count, unsigned number = 0);

[[nodiscard]] std::string zeroSectors(std::size_t count);

// A small disk image in memory that a test may spoil wherever it likes.
struct HandmadeImage {
    struct Part {
        RunKind kind;
        std::string decoded; // whole sectors
    };

    std::string data;                // stored runs
    std::vector<std::string> tables; // with header and terminator
    std::string disk;                // what it decodes to
    std::uint32_t masterChecksum = 0;
    bool hasDataChecksum = false;

    // Adds a partition of these runs behind the others.
    void add(const std::vector<Part>& parts);

    // The master checksum of the tables as they are now.
    void sumTables();

    // The property list as it would be written for the tables.
    [[nodiscard]] std::string propertyList() const;

    // The image file; with another property list when one is given.
    [[nodiscard]] std::string file() const { return file(propertyList()); }

    [[nodiscard]] std::string file(const std::string& list) const;
};

// Three partitions with a run of every kind that is decoded without the unpacker.
[[nodiscard]] HandmadeImage imageOfAllKinds();

// A file with that content, open for reading and writing, its name gone.
[[nodiscard]] Descriptor fileOf(std::string_view content);

[[nodiscard]] std::string contentOf(const Descriptor& file);

// Decodes the image file to memory.
[[nodiscard]] std::string decode(std::string_view file, const std::string& unpacker = "/usr/bin/7zz");

// The call throws a DiskImageError with exactly this text.
void expectRefusal(const std::string& text, const std::function<void()>& call);

// Where the fields of trailer, table and run are.
namespace Field {
inline constexpr std::size_t trailerSize = 512;
inline constexpr std::size_t tableHeaderSize = 204;
inline constexpr std::size_t runSize = 40;
} // namespace Field

} // namespace InstallerCore::Testing
