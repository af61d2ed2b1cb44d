#include "hosts/linux/diskimage/UdifImage.h"

#include "hosts/linux/diskimage/DiskDecoder.h"
#include "hosts/linux/diskimage/RawDisk.h"

#include <algorithm>

namespace InstallerCore {

namespace {

bool needsUnpacker(const UdifLayout& layout) {
    return std::any_of(layout.tables.begin(), layout.tables.end(), [](const BlockTable& table) {
        return std::any_of(table.runs.begin(), table.runs.end(), [](const Run& run) {
            return run.kind == RunKind::lzfse || run.kind == RunKind::adc;
        });
    });
}

} // namespace

UdifImage::UdifImage(Descriptor image, std::string unpacker)
    : file_(std::move(image)), layout_(readLayout(file_)), unpacker_(std::move(unpacker)) {
    for (const BlockTable& table : layout_.tables) {
        partitions_.push_back(
            {.name = table.name, .firstSector = table.firstSector, .sectorCount = table.sectorCount});
    }
}

void UdifImage::decodeTo(int rawFile) const {
    const RawDisk disk(rawFile, size());
    checkStoredData(file_, layout_);
    if (needsUnpacker(layout_)) {
        decodeByUnpacker(file_, layout_, disk, unpacker_);
    } else {
        decodeRuns(file_, layout_, disk);
    }
}

} // namespace InstallerCore
