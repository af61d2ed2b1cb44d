#include "InstallerCore/install/InstallerDiskImage.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/SystemLog.h"

#include <exception>
#include <utility>

namespace InstallerCore {

namespace {

// The members of an array that are dictionaries; whatever else is in it does not count.
std::vector<const PropertyValue*> dictionariesIn(const PropertyDictionary& owner, std::string_view key) {
    std::vector<const PropertyValue*> result;
    const PropertyValue* const value = member(owner, key);
    const PropertyArray* const array = value == nullptr ? nullptr : value->array();
    if (array != nullptr) {
        for (const PropertyValue& element : *array) {
            if (element.dictionary() != nullptr) {
                result.push_back(&element);
            }
        }
    }
    return result;
}

// Without "." and ".." and without a slash at the end.
std::string standardized(const std::filesystem::path& path) {
    std::string text = path.lexically_normal().string();
    if (text.size() > 1 && text.ends_with('/')) {
        text.pop_back();
    }
    return text;
}

void schedule(const std::filesystem::path& bundle, const Platform& platform) {
    if (!bundle.string().starts_with(platform.paths.volumes + "/")) {
        return;
    }
    const ProcessResult info =
        platform.processes.run(platform.paths.hdiutil, {"info", "-plist"}, Processes::ErrorOutput::discarded);
    if (info.status != 0) {
        return;
    }
    const PropertyValue table = platform.propertyLists.parse(info.output);
    if (table.dictionary() == nullptr) {
        return;
    }
    const auto mount = InstallerDiskImage::containingMount(*table.dictionary(), bundle, platform);
    if (!mount) {
        return;
    }
    platform.processes.startDetached(
        platform.paths.shell, {"-c", std::string(InstallerDiskImage::ejectionScript), "kavio-installer-eject",
                               std::to_string(platform.processes.ownIdentifier()), *mount});
}

constexpr std::string_view script = R"(count=0
while /bin/kill -0 "$1" 2>/dev/null; do
  count=$((count + 1))
  [ "$count" -ge 10 ] && exit 0
  /bin/sleep 1
done
count=0
while [ "$count" -lt 3 ]; do
  /usr/bin/hdiutil detach "$2" >/dev/null 2>&1 && exit 0
  count=$((count + 1))
  /bin/sleep 1
done
/usr/bin/logger -t KavioInstaller 'Installer disk image ejection deferred: volume busy or unavailable')";

} // namespace

const std::string_view InstallerDiskImage::ejectionScript = script;

std::optional<std::string> InstallerDiskImage::containingMount(const PropertyDictionary& table,
                                                               const std::filesystem::path& bundle,
                                                               const Platform& platform) {
    const std::string volumes = platform.paths.volumes + "/";
    const std::string path = standardized(bundle);
    if (!path.starts_with(volumes)) {
        return std::nullopt;
    }
    for (const PropertyValue* const image : dictionariesIn(table, "images")) {
        for (const PropertyValue* const entity : dictionariesIn(*image->dictionary(), "system-entities")) {
            const std::string* const mount = textMember(*entity, "mount-point");
            if (mount != nullptr && mount->starts_with(volumes) && path.starts_with(*mount + "/")) {
                return *mount;
            }
        }
    }
    return std::nullopt;
}

void InstallerDiskImage::scheduleEjection(const std::filesystem::path& bundle,
                                          const Platform& platform) noexcept {
    try {
        try {
            schedule(bundle, platform);
        } catch (const std::exception& error) {
            platform.log.write(ErrorText::ejectionDeferred(error.what()));
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory, also for a log line
    }
}

} // namespace InstallerCore
