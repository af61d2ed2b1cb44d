#include "InstallerCore/platform/ReadText.h"

#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/UnicodeText.h"

#include <algorithm>

namespace InstallerCore {

Bytes readBytes(FileHandle& file, std::size_t limit) {
    constexpr std::size_t pieceSize = 65'536;
    Bytes bytes;
    std::size_t length = 0;
    while (length <= limit) {
        bytes.resize(std::min(length + pieceSize, limit + 1));
        const std::size_t count = file.read(std::span(bytes).subspan(length));
        if (count == 0) {
            bytes.resize(length);
            return bytes;
        }
        length += count;
    }
    throw PlatformError(FileErrorCode::readTooLarge);
}

std::string readText(Directory& directory, const std::string& name, std::size_t limit) {
    const auto file = directory.open(name, FileAccess::read);
    std::string text(asText(readBytes(*file, limit)));
    if (!isUtf8(text)) {
        throw PlatformError(FileErrorCode::readNotText);
    }
    return text;
}

} // namespace InstallerCore
