#pragma once

#include "InstallerCore/platform/Files.h"
#include "hosts/posix/Descriptor.h"

#include <sys/stat.h>

namespace InstallerCore {

// Every operation is a system call of the "at" family on one descriptor.
class DirectoryPosix final : public Directory {
public:
    explicit DirectoryPosix(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    [[nodiscard]] std::vector<std::string> names() const override;
    [[nodiscard]] FileAttributes attributes(const std::string& name) const override;
    void createIfMissing(const std::string& name) noexcept override;
    [[nodiscard]] std::unique_ptr<FileHandle> open(const std::string& name, FileAccess access) override;
    void replace(const std::string& name, ByteView bytes) override;
    void remove(const std::string& name) override;
    [[nodiscard]] std::unique_ptr<FileLock> lock(const std::string& name) override;

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

private:
    [[nodiscard]] Descriptor createExclusively(const std::string& name) const;
    void synchronizeEntries() const;

    Descriptor descriptor_;
};

[[nodiscard]] FileAttributes attributesFrom(const struct stat& status);

enum class Links { refused, followed };

// Opens the regular file that the path, seen from the directory, leads to. Anything else gives
// FileErrorCode::notRegularFile; see Directory::open.
[[nodiscard]] Descriptor openRegularFile(int directory, const char* path, FileAccess access, Links links);

} // namespace InstallerCore
