#include "InstallerCore/install/ApplicationMetadata.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/ReadText.h"

namespace InstallerCore {

namespace {

// The text of that name; empty when there is none.
std::string textMember(const PropertyValue& list, std::string_view key) {
    const PropertyDictionary* const dictionary = list.dictionary();
    const PropertyValue* const value = dictionary == nullptr ? nullptr : member(*dictionary, key);
    const std::string* const text = value == nullptr ? nullptr : value->text();
    return text == nullptr ? std::string() : *text;
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
    ApplicationMetadata metadata{.bundleID = textMember(list, "CFBundleIdentifier"),
                                 .version = textMember(list, "CFBundleShortVersionString")};
    require(!metadata.bundleID.empty() && !metadata.version.empty(), ErrorText::missingIdentity);
    return metadata;
}

} // namespace InstallerCore
