#include "hosts/macos/ResourcesBundle.h"

#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

std::optional<std::filesystem::path> ResourcesBundle::find(const std::string& name,
                                                           const std::string& extension) const {
    @autoreleasepool {
        NSString* const base = toNSString(name);
        if (base.length == 0) { // to Foundation: any resource
            return std::nullopt;
        }
        NSURL* const url = [NSBundle.mainBundle URLForResource:base withExtension:toNSString(extension)];
        return url == nil ? std::nullopt : std::optional(toPath(url));
    }
}

} // namespace InstallerCore
