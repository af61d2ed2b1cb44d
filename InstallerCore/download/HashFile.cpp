#include "InstallerCore/download/HashFile.h"

#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/platform/Files.h"

namespace InstallerCore {

std::string hashFile(const std::filesystem::path& file, const Platform& platform) {
    return hashFile(file, Cancellation(), platform);
}

std::string hashFile(const std::filesystem::path& file, const Cancellation& cancel,
                     const Platform& platform) {
    constexpr std::size_t pieceSize = 1'048'576;
    const auto handle = platform.files.openForReading(file);
    const auto digest = platform.digests.sha512();
    Bytes buffer(pieceSize);
    while (const std::size_t count = handle->read(buffer)) {
        cancel.check();
        digest->update(ByteView(buffer).first(count));
    }
    handle->close();
    return hexadecimal(digest->finish());
}

} // namespace InstallerCore
