#include "InstallerCore/install/ApplicationMetadata.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/ReadText.h"

namespace InstallerCore {

namespace {

std::string requiredText(const PropertyValue& list, std::string_view key) {
    const std::string* const text = textMember(list, key);
    if (text == nullptr || text->empty()) {
        throw InstallerError::message(ErrorText::missingIdentity);
    }
    return *text;
}

} // namespace

PropertyValue readInfoPropertyList(const std::filesystem::path& application, const Platform& platform) {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    const auto file = platform.files.openForReading(application / "Contents/Info.plist");
    return platform.propertyLists.parse(readBytes(*file, longest));
}

ApplicationMetadata ApplicationMetadata::read(const std::filesystem::path& application,
                                              const Platform& platform) {
    const PropertyValue list = readInfoPropertyList(application, platform);
    return {.bundleID = requiredText(list, "CFBundleIdentifier"),
            .version = requiredText(list, "CFBundleShortVersionString")};
}

} // namespace InstallerCore
