#include "hosts/linux/diskimage/MountRecord.h"

#include <nlohmann/json.hpp>

namespace InstallerCore {

namespace {

using Json = nlohmann::json;

Json toJson(const SystemEntity& entity) {
    Json json{{"device", entity.device},
              {"hint", entity.contentHint},
              {"unmappedHint", entity.unmappedContentHint},
              {"mountable", entity.mountable}};
    if (entity.volume) {
        json["volume"] = {
            {"name", entity.volume->name}, {"kind", entity.volume->kind}, {"inode", entity.volume->inode}};
    }
    return json;
}

SystemEntity entityFrom(const Json& json) {
    SystemEntity entity{.device = json.at("device"),
                        .contentHint = json.at("hint"),
                        .unmappedContentHint = json.at("unmappedHint"),
                        .mountable = json.at("mountable")};
    if (const auto volume = json.find("volume"); volume != json.end()) {
        entity.volume = MountedVolume{
            .name = volume->at("name"), .kind = volume->at("kind"), .inode = volume->at("inode")};
    }
    return entity;
}

} // namespace

ImageIdentity identityOf(std::string path, const struct stat& status) {
    return {.path = std::move(path),
            .device = status.st_dev,
            .inode = status.st_ino,
            .size = status.st_size,
            .modifiedSeconds = status.st_mtim.tv_sec,
            .modifiedNanoseconds = status.st_mtim.tv_nsec,
            .changedSeconds = status.st_ctim.tv_sec,
            .changedNanoseconds = status.st_ctim.tv_nsec};
}

std::string serialize(const MountRecord& record) {
    Json entities = Json::array();
    for (const SystemEntity& entity : record.entities) {
        entities.push_back(toJson(entity));
    }
    const ImageIdentity& image = record.image;
    return Json{{"id", record.id},
                {"firstDisk", record.firstDisk},
                {"diskCount", record.diskCount},
                {"blockCount", record.blockCount},
                {"image",
                 {{"path", image.path},
                  {"device", image.device},
                  {"inode", image.inode},
                  {"size", image.size},
                  {"modifiedSeconds", image.modifiedSeconds},
                  {"modifiedNanoseconds", image.modifiedNanoseconds},
                  {"changedSeconds", image.changedSeconds},
                  {"changedNanoseconds", image.changedNanoseconds}}},
                {"entities", entities}}
        .dump();
}

std::optional<MountRecord> parseMountRecord(std::string_view text) {
    try {
        const Json json = Json::parse(text);
        const Json& image = json.at("image");
        MountRecord record{.id = json.at("id"),
                           .firstDisk = json.at("firstDisk"),
                           .diskCount = json.at("diskCount"),
                           .blockCount = json.at("blockCount"),
                           .image = {.path = image.at("path"),
                                     .device = image.at("device"),
                                     .inode = image.at("inode"),
                                     .size = image.at("size"),
                                     .modifiedSeconds = image.at("modifiedSeconds"),
                                     .modifiedNanoseconds = image.at("modifiedNanoseconds"),
                                     .changedSeconds = image.at("changedSeconds"),
                                     .changedNanoseconds = image.at("changedNanoseconds")},
                           .entities = {}};
        for (const Json& entity : json.at("entities")) {
            record.entities.push_back(entityFrom(entity));
        }
        return record;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

} // namespace InstallerCore
