#include "hosts/linux/diskimage/DiskDecoder.h"

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/linux/diskimage/Parallel.h"
#include "hosts/linux/diskimage/RunDecoder.h"
#include "hosts/linux/diskimage/UdifChecksum.h"
#include "hosts/linux/diskimage/UnpackerOutput.h"

#include <algorithm>
#include <memory>

namespace InstallerCore {

namespace {

constexpr std::int64_t pieceSize = std::int64_t{1} << 20; // bytes; whole sectors

void checkTable(const BlockTable& table, std::size_t index, std::uint32_t checksum) {
    if (checksum != table.checksum) {
        throw DiskImageError("the checksum of partition " + std::to_string(index + 1) + " does not match");
    }
}

// A raw run may be as long as the disk, but is not decoded in one piece.
void addPieces(std::vector<Run>& pieces, Run run) {
    while (run.kind == RunKind::raw && run.storedLength > pieceSize) {
        Run piece = run;
        piece.storedLength = pieceSize;
        piece.sectorCount = pieceSize / sectorSize;
        pieces.push_back(piece);
        run.storedAt += pieceSize;
        run.storedLength -= pieceSize;
        run.firstSector += piece.sectorCount;
        run.sectorCount -= piece.sectorCount;
    }
    pieces.push_back(run);
}

// The runs of all tables in pieces of bounded size, and the checksum of what each decodes to.
struct Pieces {
    explicit Pieces(const UdifLayout& layout) {
        for (const BlockTable& table : layout.tables) {
            for (const Run& run : table.runs) {
                addPieces(runs, run);
            }
            ends.push_back(runs.size());
        }
        checksums.resize(runs.size());
    }

    void checkTables(const std::vector<BlockTable>& tables) const {
        std::size_t piece = 0;
        for (std::size_t table = 0; table < tables.size(); ++table) {
            std::uint32_t checksum = 0;
            for (; piece < ends[table]; ++piece) {
                if (runs[piece].kind != RunKind::ignore) {
                    checksum = combineCrc32(checksum, checksums[piece], runs[piece].sectorCount * sectorSize);
                }
            }
            checkTable(tables[table], table, checksum);
        }
    }

    std::vector<Run> runs;
    std::vector<std::size_t> ends; // of each table, in the runs
    std::vector<std::uint32_t> checksums;
};

} // namespace

void decodeRuns(const ImageFile& file, const UdifLayout& layout, const RawDisk& disk) {
    Pieces pieces(layout);
    runOnAllCores(pieces.runs.size(), [&]() -> Work {
        return [&, decoder = std::make_shared<RunDecoder>(file)](std::size_t index) {
            const Run& run = pieces.runs[index];
            if (!isStored(run.kind)) {
                pieces.checksums[index] = crc32OfZeros(run.sectorCount * sectorSize);
                return;
            }
            const ByteView decoded = decoder->decode(run);
            pieces.checksums[index] = crc32(0, decoded);
            disk.write(run.firstSector * sectorSize, decoded);
        };
    });
    pieces.checkTables(layout.tables);
}

void decodeByUnpacker(const ImageFile& file, const UdifLayout& layout, const RawDisk& disk,
                      const std::string& unpacker) {
    UnpackerOutput output(unpacker, file.descriptor());
    Bytes buffer(pieceSize);
    for (std::size_t table = 0; table < layout.tables.size(); ++table) {
        std::uint32_t checksum = 0;
        for (const Run& run : layout.tables[table].runs) {
            std::int64_t offset = run.firstSector * sectorSize;
            const std::int64_t end = offset + run.sectorCount * sectorSize;
            while (offset < end) {
                const std::int64_t length = std::min(end - offset, pieceSize);
                const std::span<std::byte> piece = std::span(buffer).first(static_cast<std::size_t>(length));
                output.read(piece);
                if (run.kind != RunKind::ignore) {
                    checksum = crc32(checksum, piece);
                    disk.write(offset, piece);
                }
                offset += length;
            }
        }
        checkTable(layout.tables[table], table, checksum);
    }
    output.finish();
}

void checkStoredData(const ImageFile& file, const UdifLayout& layout) {
    if (!layout.dataChecksum) {
        return;
    }
    const auto lengthAt = [&](std::size_t index) {
        return std::min(pieceSize, layout.dataLength - static_cast<std::int64_t>(index) * pieceSize);
    };
    std::vector<std::uint32_t> checksums(
        static_cast<std::size_t>((layout.dataLength + pieceSize - 1) / pieceSize));
    runOnAllCores(checksums.size(), [&]() -> Work {
        return [&, buffer = Bytes(pieceSize)](std::size_t index) mutable {
            const auto piece = std::span(buffer).first(static_cast<std::size_t>(lengthAt(index)));
            file.read(layout.dataOffset + static_cast<std::int64_t>(index) * pieceSize, piece);
            checksums[index] = crc32(0, piece);
        };
    });
    std::uint32_t checksum = 0;
    for (std::size_t index = 0; index < checksums.size(); ++index) {
        checksum = combineCrc32(checksum, checksums[index], lengthAt(index));
    }
    if (checksum != *layout.dataChecksum) {
        throw DiskImageError("the checksum of the stored data does not match");
    }
}

} // namespace InstallerCore
