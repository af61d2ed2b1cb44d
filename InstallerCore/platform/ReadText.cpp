#include "InstallerCore/platform/ReadText.h"

#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/UnicodeText.h"

namespace InstallerCore {

std::string readText(Directory& directory, const std::string& name, std::size_t limit) {
    const auto file = directory.open(name, FileAccess::read);
    Bytes bytes(limit + 1);
    std::size_t length = 0;
    while (length < bytes.size()) {
        const std::size_t count = file->read(std::span(bytes).subspan(length));
        if (count == 0) {
            break;
        }
        length += count;
    }
    if (length > limit) {
        throw PlatformError(FileErrorCode::readTooLarge);
    }
    std::string text(asText(ByteView(bytes).first(length)));
    if (!isUtf8(text)) {
        throw PlatformError(FileErrorCode::readNotText);
    }
    return text;
}

} // namespace InstallerCore
