#pragma once

#include "hosts/posix/Descriptor.h"

#include <sys/stat.h>

#include <atomic>
#include <string>

namespace InstallerCore {

// A regular file on its way: the copy is there, empty and its owner's only.
struct FileCopy {
    Descriptor source;
    Descriptor destination;
    struct stat status{}; // of the source when it was opened
    std::string sourcePath;
    std::string destinationPath;
};

// True for the same inode with the same content, as far as its sizes and times tell.
[[nodiscard]] bool isUnchanged(const struct stat& before, const struct stat& after);

// Copies what is in files: a clone where the file system makes them, else inside the kernel, else through
// memory. Holes stay holes. Any thread, each file on one.
class ContentCopier {
public:
    // Throws CopyError, also when the source is another by the end.
    void copy(const FileCopy& file);

private:
    [[nodiscard]] bool clone(const FileCopy& file);
    void copySparse(const FileCopy& file);
    void copyRange(const FileCopy& file, off_t begin, off_t end);
    [[nodiscard]] off_t copyInKernel(const FileCopy& file, off_t begin, off_t end);

    // What the file systems have refused once is not asked for again.
    std::atomic<bool> clones_{true};
    std::atomic<bool> kernelCopies_{true};
};

} // namespace InstallerCore
