#include "InstallerCore/localization/MessageCatalog.h"

#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/platform/Resources.h"
#include "InstallerCore/support/Json.h"
#include "InstallerCore/support/PlatformError.h"

#include <cstddef>

namespace InstallerCore {

namespace {

// Far beyond any catalog, and a bound for what is read by mistake.
constexpr std::size_t largestCatalog = 16'777'216;

MessageCatalog decode(ByteView document) {
    const Json::Value root = Json::parseObject(document);
    MessageCatalog catalog;
    for (const auto& [language, texts] : root.items()) {
        if (!texts.is_object()) {
            throw PlatformError(JsonErrorCode::typeMismatch, "A language of the catalog is not an object.");
        }
        auto& decoded = catalog[language];
        for (const auto& text : texts.items()) {
            decoded[text.key()] = Json::text(texts, text.key());
        }
    }
    return catalog;
}

} // namespace

MessageCatalog readMessageCatalog(const Resources& resources, Files& files) {
    const auto path = resources.find("installer-locales", "json");
    if (!path) {
        return {};
    }
    try {
        return decode(readBytes(*files.openForReading(*path), largestCatalog));
    } catch (const PlatformError&) {
        return {};
    }
}

} // namespace InstallerCore
