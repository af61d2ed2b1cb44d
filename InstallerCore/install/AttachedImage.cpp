#include "InstallerCore/install/AttachedImage.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/install/RunTool.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/SystemLog.h"

#include <algorithm>
#include <exception>
#include <optional>

namespace InstallerCore {

namespace {

// The array of dictionaries; null when the member is anything else.
const PropertyArray* systemEntities(const PropertyValue& table) {
    const PropertyDictionary* const dictionary = table.dictionary();
    const PropertyValue* const value =
        dictionary == nullptr ? nullptr : member(*dictionary, "system-entities");
    const PropertyArray* const entities = value == nullptr ? nullptr : value->array();
    const bool wellFormed = entities != nullptr &&
                            std::all_of(entities->begin(), entities->end(), [](const PropertyValue& entity) {
                                return entity.dictionary() != nullptr;
                            });
    return wellFormed ? entities : nullptr;
}

std::optional<std::string> firstMountPoint(const PropertyValue& table) {
    const PropertyArray* const entities = systemEntities(table);
    if (entities == nullptr) {
        return std::nullopt;
    }
    for (const PropertyValue& entity : *entities) {
        if (const std::string* const mountPoint = textMember(entity, "mount-point")) {
            return *mountPoint;
        }
    }
    return std::nullopt;
}

} // namespace

AttachedImage::AttachedImage(const std::filesystem::path& image, const Platform& platform)
    : platform_(platform) {
    const Bytes output =
        run(platform.paths.hdiutil, {"attach", "-readonly", "-nobrowse", "-plist", image.string()}, platform);
    const auto mountPoint = firstMountPoint(platform.propertyLists.parse(output));
    require(mountPoint.has_value(), ErrorText::cannotMountPackage);
    mountPoint_ = *mountPoint;
}

AttachedImage::~AttachedImage() {
    try {
        detach();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory, also for a log line
    }
}

void AttachedImage::detach() const {
    try {
        run(platform_.paths.hdiutil, {"detach", mountPoint_}, platform_);
    } catch (const std::exception& error) {
        platform_.log.write(ErrorText::unableToDetach(error.what()));
    }
}

} // namespace InstallerCore
