#include "hosts/linux/diskimage/ImageTable.h"

#include "InstallerCore/support/UnicodeText.h"
#include "hosts/linux/PropertyListWriter.h"

#include <algorithm>
#include <utility>

namespace InstallerCore {

namespace {

constexpr std::int64_t blockSize = 512;

PropertyValue text(const std::string& value) {
    return {value};
}

PropertyValue flag(bool value) {
    return {value};
}

PropertyValue entities(const MountRecord& record, const std::filesystem::path& volumes) {
    PropertyArray items;
    for (const SystemEntity& entity : record.entities) {
        PropertyDictionary members = {{"content-hint", text(entity.contentHint)},
                                      {"dev-entry", text(entity.device)},
                                      {"potentially-mountable", flag(entity.mountable)},
                                      {"unmapped-content-hint", text(entity.unmappedContentHint)}};
        if (entity.volume) {
            members["mount-point"] = text((volumes / entity.volume->name).string());
            members["volume-kind"] = text(entity.volume->kind);
        }
        items.push_back({std::move(members)});
    }
    return {std::move(items)};
}

} // namespace

std::string attachedTable(const MountRecord& record, const std::filesystem::path& volumes) {
    return writePropertyList({PropertyDictionary{{"system-entities", entities(record, volumes)}}});
}

std::string imageTable(const std::vector<MountRecord>& records, const std::filesystem::path& volumes) {
    PropertyArray images;
    for (const MountRecord& record : records) {
        images.push_back({PropertyDictionary{{"blockcount", {record.blockCount}},
                                             {"blocksize", {blockSize}},
                                             {"image-encrypted", flag(false)},
                                             {"image-path", text(record.image.path)},
                                             {"image-type", text("read-only disk image")},
                                             {"removable", flag(true)},
                                             {"system-entities", entities(record, volumes)},
                                             {"writeable", flag(false)}}});
    }
    return writePropertyList({PropertyDictionary{{"framework", text("1")}, {"images", {std::move(images)}}}});
}

bool isPrintable(std::string_view text) {
    return isUtf8(text) && std::ranges::none_of(text, [](char letter) {
               return static_cast<unsigned char>(letter) < ' ' && letter != '\t' && letter != '\n' &&
                      letter != '\r';
           });
}

} // namespace InstallerCore
