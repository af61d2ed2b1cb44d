#pragma once

#include <map>
#include <string>

namespace InstallerCore {

class Files;
class Resources;

// From language tag to catalog key to text.
using MessageCatalog = std::map<std::string, std::map<std::string, std::string>>;

// The catalog among the application's resources, "installer-locales.json": one object whose members are
// language tags, each an object from catalog key to text.
//
//     {"de-DE": {"common_retry": "Wiederholen"}, "en-US": {"common_retry": "Retry"}}
//
// Empty when it is missing, cannot be read or has any other shape, and nobody hears of that: the texts that
// are built in will do. Keys and languages that nobody asks for do no harm.
[[nodiscard]] MessageCatalog readMessageCatalog(const Resources& resources, Files& files);

} // namespace InstallerCore
