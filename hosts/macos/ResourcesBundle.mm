#include "hosts/macos/ResourcesBundle.h"

#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

std::optional<std::filesystem::path> ResourcesBundle::find(const std::string& name,
                                                           const std::string& extension) const {
    @autoreleasepool {
        NSString* const base = fromUtf8(name);
        NSString* const suffix = fromUtf8(extension);
        if (base.length == 0 || suffix == nil) { // to Foundation: any resource
            return std::nullopt;
        }
        NSURL* const url = [NSBundle.mainBundle URLForResource:base withExtension:suffix];
        return url == nil ? std::nullopt : std::optional(toPath(url));
    }
}

} // namespace InstallerCore
