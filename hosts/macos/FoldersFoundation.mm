#include "hosts/macos/FoldersFoundation.h"

#include "hosts/macos/FoundationErrors.h"
#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

std::optional<std::int64_t> FoldersFoundation::availableSpace(const std::filesystem::path& path) const {
    @autoreleasepool {
        NSFileManager* const manager = NSFileManager.defaultManager;
        NSString* const name = [manager stringWithFileSystemRepresentation:path.c_str()
                                                                    length:path.native().size()];
        NSError* error = nil;
        NSDictionary<NSFileAttributeKey, id>* const volume = [manager attributesOfFileSystemForPath:name
                                                                                              error:&error];
        if (volume == nil) {
            throw PlatformError(fileErrorCode(error));
        }
        id const space = volume[NSFileSystemFreeSize];
        if (![space isKindOfClass:[NSNumber class]]) {
            return std::nullopt;
        }
        return static_cast<NSNumber*>(space).longLongValue;
    }
}

} // namespace InstallerCore
