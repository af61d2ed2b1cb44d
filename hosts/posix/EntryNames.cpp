#include "hosts/posix/EntryNames.h"

#include "hosts/posix/Descriptor.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>

namespace InstallerCore {

std::optional<std::vector<std::string>> entryNames(int directory) {
    // A descriptor of its own, since reading moves the position.
    Descriptor listing(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    DIR* const stream = listing.get() < 0 ? nullptr : ::fdopendir(listing.get());
    if (stream == nullptr) {
        return std::nullopt;
    }
    static_cast<void>(listing.release()); // the stream's now
    const std::unique_ptr<DIR, int (*)(DIR*)> closer(stream, ::closedir);
    std::vector<std::string> names;
    while (true) {
        errno = 0;
        const dirent* const entry = ::readdir(stream); // NOLINT(concurrency-mt-unsafe): a stream of our own
        if (entry == nullptr) {
            return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
        }
        std::string name = &entry->d_name[0];
        if (name != "." && name != "..") {
            names.push_back(std::move(name));
        }
    }
}

} // namespace InstallerCore
