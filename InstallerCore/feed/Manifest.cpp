#include "InstallerCore/feed/Manifest.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/Json.h"

#include <algorithm>
#include <utility>

namespace InstallerCore {

namespace {

namespace Key {
constexpr const char* platform = "platform";
constexpr const char* arch = "arch";
constexpr const char* appVersion = "appVersion";
constexpr const char* minOSVersion = "minOSVersion";
constexpr const char* url = "url";
constexpr const char* sizeBytes = "sizeBytes";
constexpr const char* installedSizeBytes = "installedSizeBytes";
constexpr const char* sha512 = "sha512";
constexpr const char* artifacts = "artifacts";
} // namespace Key

Artifact artifactFrom(const Json::Value& object) {
    return {
        .platform = Json::text(object, Key::platform),
        .arch = Json::text(object, Key::arch),
        .appVersion = Json::text(object, Key::appVersion),
        .minOSVersion = Json::text(object, Key::minOSVersion),
        .url = Json::text(object, Key::url),
        .sizeBytes = Json::integer(object, Key::sizeBytes),
        .installedSizeBytes = Json::integer(object, Key::installedSizeBytes),
        .sha512 = Json::text(object, Key::sha512),
    };
}

Json::Record recordFrom(const Artifact& artifact) {
    return {
        {Key::platform, artifact.platform},
        {Key::arch, artifact.arch},
        {Key::appVersion, artifact.appVersion},
        {Key::minOSVersion, artifact.minOSVersion},
        {Key::url, artifact.url},
        {Key::sizeBytes, artifact.sizeBytes},
        {Key::installedSizeBytes, artifact.installedSizeBytes},
        {Key::sha512, artifact.sha512},
    };
}

} // namespace

Artifact Artifact::decode(ByteView json) {
    return artifactFrom(Json::parseObject(json));
}

Bytes Artifact::encode() const {
    return toBytes(Json::compact(recordFrom(*this)));
}

Artifact Manifest::artifact(std::string_view arch) const {
    const auto found = std::find_if(artifacts.begin(), artifacts.end(), [arch](const Artifact& artifact) {
        return artifact.platform == "macos" && artifact.arch == arch;
    });
    require(found != artifacts.end(), ErrorText::unsupportedMac);
    return *found;
}

Manifest Manifest::decode(ByteView json) {
    const Json::Value object = Json::parseObject(json);
    Manifest manifest;
    for (const Json::Value& element : Json::array(object, Key::artifacts)) {
        manifest.artifacts.push_back(artifactFrom(element));
    }
    return manifest;
}

Bytes Manifest::encode() const {
    Json::Record list = Json::Record::array();
    for (const Artifact& artifact : artifacts) {
        list.push_back(recordFrom(artifact));
    }
    Json::Record record;
    record[Key::artifacts] = std::move(list);
    return toBytes(Json::compact(record));
}

} // namespace InstallerCore
