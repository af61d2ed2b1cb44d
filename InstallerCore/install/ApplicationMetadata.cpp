#include "InstallerCore/install/ApplicationMetadata.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/ReadText.h"

namespace InstallerCore {

PropertyValue readInfoPropertyList(const std::filesystem::path& application, const Platform& platform) {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    const auto file = platform.files.openForReading(application / "Contents/Info.plist");
    return platform.propertyLists.parse(readBytes(*file, longest));
}

ApplicationMetadata ApplicationMetadata::read(const std::filesystem::path& application,
                                              const Platform& platform) {
    const PropertyValue list = readInfoPropertyList(application, platform);
    const std::string* const bundleID = textMember(list, "CFBundleIdentifier");
    const std::string* const version = textMember(list, "CFBundleShortVersionString");
    const bool complete =
        bundleID != nullptr && version != nullptr && !bundleID->empty() && !version->empty();
    require(complete, ErrorText::missingIdentity);
    return {.bundleID = *bundleID, .version = *version};
}

} // namespace InstallerCore
