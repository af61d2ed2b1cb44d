#include "InstallerCore/install/InstallationJournal.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/support/Json.h"
#include "InstallerCore/support/PlatformError.h"

#include <algorithm>
#include <cstdlib>

namespace InstallerCore {

namespace {

std::optional<InstallationJournal::Phase> phaseNamed(const std::string& name) {
    using Phase = InstallationJournal::Phase;
    for (const Phase phase : {Phase::copying, Phase::replacing, Phase::installed}) {
        if (name == InstallationJournal::name(phase)) {
            return phase;
        }
    }
    return std::nullopt;
}

std::optional<std::string> textMember(const Json::Value& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? std::nullopt : std::optional(found->get<std::string>());
}

bool isObjectOfTexts(const Json::Value& value) {
    return value.is_object() &&
           std::all_of(value.begin(), value.end(), [](const Json::Value& text) { return text.is_string(); });
}

} // namespace

std::string_view InstallationJournal::name(Phase phase) {
    switch (phase) {
    case Phase::copying:
        return "copying";
    case Phase::replacing:
        return "replacing";
    case Phase::installed:
        return "installed";
    }
    std::abort();
}

Bytes InstallationJournal::encode(Phase phase, const std::string& version) {
    Json::Record record;
    record["target"] = StagingDirectory::applicationName;
    record["phase"] = name(phase);
    record["version"] = version;
    return toBytes(Json::compact(record));
}

InstallationJournal InstallationJournal::decode(ByteView record) {
    const Json::Value value = Json::parse(record);
    if (!value.is_structured()) { // a bare text or number is no document here
        throw PlatformError(JsonErrorCode::corrupt, "The data is not valid JSON.");
    }
    require(isObjectOfTexts(value), ErrorText::invalidJournal);
    require(textMember(value, "target") == StagingDirectory::applicationName, ErrorText::invalidJournal);
    return {.phase = phaseNamed(textMember(value, "phase").value_or("")),
            .version = textMember(value, "version")};
}

} // namespace InstallerCore
