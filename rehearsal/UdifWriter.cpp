#include "rehearsal/UdifWriter.h"

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/PropertyListWriter.h"
#include "rehearsal/UdifRuns.h"

#include <zlib.h>

#include <algorithm>
#include <deque>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::uint64_t sectorSize = 512;
constexpr std::uint64_t longestZeros = 131072; // sectors; some readers refuse a longer run

class BigEndian {
public:
    BigEndian& u32(std::uint64_t value) { return integer(value, 4); }

    BigEndian& u64(std::uint64_t value) { return integer(value, 8); }

    BigEndian& bytes(std::string_view text) {
        text_ += text;
        return *this;
    }

    // Zeros up to that offset.
    BigEndian& padTo(std::size_t offset) {
        text_.resize(offset);
        return *this;
    }

    BigEndian& checksum(std::uint32_t crc) { return u32(2).u32(32).u32(crc).padTo(text_.size() + 124); }

    [[nodiscard]] const std::string& text() const { return text_; }

private:
    BigEndian& integer(std::uint64_t value, unsigned size) {
        for (unsigned i = size; i-- > 0;) {
            text_ += static_cast<char>(value >> (8 * i));
        }
        return *this;
    }

    std::string text_;
};

class Crc {
public:
    void update(std::string_view text) {
        value_ = crc32_z(value_, reinterpret_cast<const Bytef*>(text.data()), text.size());
    }

    [[nodiscard]] std::uint32_t value() const { return static_cast<std::uint32_t>(value_); }

private:
    uLong value_ = crc32_z(0, nullptr, 0);
};

struct Run {
    std::uint32_t kind;
    std::uint64_t firstSector;
    std::uint64_t sectorCount;
    std::uint64_t offset;
    std::uint64_t length;
};

class Writer {
public:
    Writer(const std::filesystem::path& rawDisk, const std::filesystem::path& image,
           const UdifOptions& options)
        : options_(options),
          size_(std::filesystem::file_size(rawDisk)),
          disk_(rawDisk, std::ios::binary),
          image_(image, std::ios::binary | std::ios::trunc) {
        if (!disk_ || !image_) {
            throw std::runtime_error("the raw disk or the disk image cannot be opened");
        }
    }

    void write();

private:
    [[nodiscard]] std::vector<UdifPartition> partitions() const;
    [[nodiscard]] std::string writeTable(const UdifPartition& partition, std::size_t identifier);
    [[nodiscard]] std::string read(std::uint64_t sectors);
    void store(const EncodedRun& encoded, std::uint64_t sectors, std::vector<Run>& runs);
    void append(std::string_view text);
    [[nodiscard]] std::string trailer(std::uint64_t runsLength, std::uint64_t listLength) const;

    const UdifOptions& options_;
    const std::uint64_t size_;
    std::ifstream disk_;
    std::ofstream image_;
    std::uint64_t offset_ = 0;
    Crc stored_; // of all runs as stored
    Crc master_; // of the tables' checksums
};

std::vector<UdifPartition> Writer::partitions() const {
    std::vector<UdifPartition> parts = options_.partitions;
    if (parts.empty()) {
        parts.push_back({"whole disk (Apple_HFS : 0)", 0, size_ / sectorSize});
    }
    std::uint64_t next = 0;
    for (const UdifPartition& part : parts) {
        if (part.firstSector != next || part.sectorCount == 0) {
            throw std::runtime_error("the partitions must follow one another");
        }
        next += part.sectorCount;
    }
    if (next * sectorSize != size_ || options_.runSectors == 0) {
        throw std::runtime_error("the partitions must cover the disk, in whole sectors");
    }
    return parts;
}

std::string Writer::read(std::uint64_t sectors) {
    std::string content(sectors * sectorSize, '\0');
    if (!disk_.read(content.data(), static_cast<std::streamsize>(content.size()))) {
        throw std::runtime_error("the raw disk cannot be read");
    }
    return content;
}

void Writer::append(std::string_view text) {
    image_.write(text.data(), static_cast<std::streamsize>(text.size()));
    offset_ += text.size();
}

void Writer::store(const EncodedRun& encoded, std::uint64_t sectors, std::vector<Run>& runs) {
    if (encoded.stored.empty() && !runs.empty() && runs.back().kind == encoded.kind &&
        runs.back().sectorCount + sectors <= longestZeros) {
        runs.back().sectorCount += sectors;
        return;
    }
    const std::uint64_t first = runs.empty() ? 0 : runs.back().firstSector + runs.back().sectorCount;
    runs.push_back({encoded.kind, first, sectors, offset_, encoded.stored.size()});
    stored_.update(encoded.stored);
    append(encoded.stored);
}

// Writes the partition's runs and returns its table. The processors work on the runs ahead of the one that is
// next in the file.
std::string Writer::writeTable(const UdifPartition& partition, std::size_t identifier) {
    struct Pending {
        std::uint64_t sectors;
        std::future<EncodedRun> encoded;
    };

    const std::size_t ahead = std::size_t{2} * std::max(1U, std::thread::hardware_concurrency());
    Crc decoded;
    std::vector<Run> runs;
    std::deque<Pending> pending;
    for (std::uint64_t unread = partition.sectorCount; unread > 0 || !pending.empty();) {
        if (unread > 0 && pending.size() < ahead) {
            const std::uint64_t sectors = std::min<std::uint64_t>(unread, options_.runSectors);
            std::string content = read(sectors);
            if (options_.zeros != UdifZeros::ignored ||
                content.find_first_not_of('\0') != std::string::npos) {
                decoded.update(content);
            }
            pending.push_back({sectors, std::async(std::launch::async, encodeRun, std::move(content),
                                                   options_.compression, options_.zeros)});
            unread -= sectors;
        } else {
            store(pending.front().encoded.get(), pending.front().sectors, runs);
            pending.pop_front();
        }
    }
    runs.push_back({udifTerminator, partition.sectorCount, 0, offset_, 0});

    master_.update(BigEndian().u32(decoded.value()).text());
    BigEndian table;
    table.bytes("mish").u32(1).u64(partition.firstSector).u64(partition.sectorCount).u64(0);
    table.u32(options_.runSectors).u32(identifier).padTo(64).checksum(decoded.value()).u32(runs.size());
    for (const Run& run : runs) {
        table.u32(run.kind).u32(0).u64(run.firstSector).u64(run.sectorCount).u64(run.offset).u64(run.length);
    }
    return table.text();
}

PropertyValue resource(std::size_t identifier, const std::string& name, const std::string& content) {
    return {PropertyDictionary{{"Attributes", {std::string("0x0050")}},
                               {"CFName", {name}},
                               {"Data", {toBytes(content)}},
                               {"ID", {std::to_string(identifier)}},
                               {"Name", {name}}}};
}

std::string Writer::trailer(std::uint64_t runsLength, std::uint64_t listLength) const {
    BigEndian trailer;
    trailer.bytes("koly").u32(4).u32(512).u32(1).padTo(32).u64(runsLength).padTo(56).u32(1).u32(1);
    // An identifier that follows from the content, so that the same content gives the same image.
    trailer.u32(master_.value()).u32(stored_.value()).u64(size_);
    trailer.checksum(stored_.value()).u64(runsLength).u64(listLength).padTo(352);
    trailer.checksum(master_.value()).u32(1).u64(size_ / sectorSize).padTo(512);
    return trailer.text();
}

void Writer::write() {
    constexpr std::size_t plstSize = 1032;
    PropertyArray tables;
    for (const UdifPartition& partition : partitions()) {
        const std::size_t identifier = tables.size();
        tables.push_back(resource(identifier, partition.name, writeTable(partition, identifier)));
    }
    const std::uint64_t runsLength = offset_;
    PropertyArray names = {resource(0, "", std::string(plstSize, '\0'))};
    const PropertyDictionary fork = {{"blkx", {std::move(tables)}}, {"plst", {std::move(names)}}};
    append(writePropertyList({PropertyDictionary{{"resource-fork", {fork}}}}));
    append(trailer(runsLength, offset_ - runsLength));
    image_.close();
    if (!image_) {
        throw std::runtime_error("the disk image cannot be written");
    }
}

} // namespace

void writeUdif(const std::filesystem::path& rawDisk, const std::filesystem::path& image,
               const UdifOptions& options) {
    try {
        Writer(rawDisk, image, options).write();
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(image, ignored);
        throw;
    }
}

} // namespace InstallerCore::Rehearsal
