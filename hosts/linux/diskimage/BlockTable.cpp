#include "hosts/linux/diskimage/BlockTable.h"

#include "hosts/linux/BigEndian.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/UdifChecksum.h"
#include "hosts/linux/diskimage/UdifTrailer.h"

namespace InstallerCore {

namespace {

constexpr std::size_t headerSize = 204;
constexpr std::size_t runSize = 40;
constexpr std::uint32_t commentKind = 0x7ffffffe;
constexpr std::uint32_t terminatorKind = 0xffffffff;

RunKind knownKind(std::uint32_t kind, const std::string& called) {
    switch (static_cast<RunKind>(kind)) {
    case RunKind::zeroFill:
    case RunKind::raw:
    case RunKind::ignore:
    case RunKind::adc:
    case RunKind::zlib:
    case RunKind::bzip2:
    case RunKind::lzfse:
    case RunKind::lzma:
        return static_cast<RunKind>(kind);
    }
    throw DiskImageError(called + " has a run of an unknown kind");
}

class TableParser {
public:
    TableParser(ByteView bytes, const UdifTrailer& trailer, std::string called)
        : bytes_(bytes), trailer_(trailer), called_(std::move(called)) {}

    BlockTable parse() {
        parseHeader();
        parseRuns();
        return std::move(table_);
    }

private:
    [[noreturn]] void refuse(const char* why) const { throw DiskImageError(called_ + why); }

    void parseHeader() {
        if (bytes_.size() < headerSize || asText(bytes_.first(4)) != "mish") {
            refuse(" has no block table");
        }
        if (bigEndian<std::uint32_t>(bytes_, 4) != 1) {
            refuse(" has a block table of an unknown version");
        }
        const auto first = bigEndian<std::uint64_t>(bytes_, 8);
        const auto count = bigEndian<std::uint64_t>(bytes_, 16);
        if (!isWithin(first, count, static_cast<std::uint64_t>(trailer_.sectorCount))) {
            refuse(" reaches beyond the end of the disk");
        }
        dataOffset_ = bigEndian<std::uint64_t>(bytes_, 24);
        if (dataOffset_ > static_cast<std::uint64_t>(trailer_.dataLength)) {
            refuse(" is stored outside of the data");
        }
        const auto checksum = parseChecksum(bytes_.subspan(64), called_);
        if (!checksum) {
            refuse(" has no checksum");
        }
        table_.firstSector = static_cast<std::int64_t>(first);
        table_.sectorCount = static_cast<std::int64_t>(count);
        table_.checksum = *checksum;
    }

    void parseRuns() {
        const std::size_t count = bigEndian<std::uint32_t>(bytes_, 200);
        if (count != (bytes_.size() - headerSize) / runSize) {
            refuse(" has a block table of another length than it says");
        }
        bool ended = false;
        std::int64_t covered = 0; // sectors of the table
        for (std::size_t index = 0; index < count; ++index) {
            const ByteView run = bytes_.subspan(headerSize + index * runSize, runSize);
            const auto kind = bigEndian<std::uint32_t>(run, 0);
            if (ended) {
                refuse(" has runs behind the last one");
            }
            if (kind == terminatorKind) {
                ended = true;
            } else if (kind != commentKind) {
                table_.runs.push_back(parseRun(run, knownKind(kind, called_), covered));
                covered += table_.runs.back().sectorCount;
            }
        }
        if (!ended) {
            refuse(" has no last run");
        }
        if (covered != table_.sectorCount) {
            refuse(" is not filled by its runs");
        }
    }

    [[nodiscard]] Run parseRun(ByteView bytes, RunKind kind, std::int64_t covered) const {
        const auto first = bigEndian<std::uint64_t>(bytes, 8);
        const auto count = bigEndian<std::uint64_t>(bytes, 16);
        if (!isWithin(first, count, static_cast<std::uint64_t>(table_.sectorCount))) {
            refuse(" has a run that reaches beyond its end");
        }
        if (first != static_cast<std::uint64_t>(covered)) {
            refuse(" has runs that overlap or leave a gap");
        }
        Run run{.kind = kind,
                .firstSector = table_.firstSector + covered,
                .sectorCount = static_cast<std::int64_t>(count),
                .storedAt = 0,
                .storedLength = 0};
        if (isStored(kind)) {
            locate(run, bigEndian<std::uint64_t>(bytes, 24), bigEndian<std::uint64_t>(bytes, 32));
        }
        return run;
    }

    void locate(Run& run, std::uint64_t offset, std::uint64_t length) const {
        if (!isWithin(offset, length, static_cast<std::uint64_t>(trailer_.dataLength) - dataOffset_)) {
            refuse(" is stored outside of the data");
        }
        run.storedAt = trailer_.dataOffset + static_cast<std::int64_t>(dataOffset_ + offset);
        run.storedLength = static_cast<std::int64_t>(length);
        const std::int64_t decodedLength = run.sectorCount * sectorSize;
        if (run.kind == RunKind::raw && run.storedLength != decodedLength) {
            refuse(" has a raw run of another length than it says");
        }
        if (isCompressed(run.kind) &&
            (decodedLength > longestDecodedRun || run.storedLength > longestStoredRun)) {
            refuse(" has a run that is too long");
        }
    }

    ByteView bytes_;
    const UdifTrailer& trailer_;
    std::string called_;
    std::uint64_t dataOffset_ = 0; // in the data fork
    BlockTable table_{};
};

} // namespace

bool isStored(RunKind kind) {
    return kind != RunKind::zeroFill && kind != RunKind::ignore;
}

bool isCompressed(RunKind kind) {
    return isStored(kind) && kind != RunKind::raw;
}

BlockTable parseBlockTable(ByteView bytes, const UdifTrailer& trailer, const std::string& calledInErrors) {
    return TableParser(bytes, trailer, calledInErrors).parse();
}

} // namespace InstallerCore
