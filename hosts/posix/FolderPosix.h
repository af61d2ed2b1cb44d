#pragma once

#include "InstallerCore/platform/Folders.h"
#include "hosts/posix/DirectoryPosix.h"

namespace InstallerCore {

// Every operation is a system call of the "at" family on one descriptor.
class FolderPosix final : public Folder {
public:
    explicit FolderPosix(Descriptor descriptor) : directory_(std::move(descriptor)) {}

    [[nodiscard]] Directory& files() override { return directory_; }

    [[nodiscard]] bool exists(const std::string& name) const override;
    void createFolder(const std::string& name) override;
    [[nodiscard]] std::unique_ptr<Folder> openFolder(const std::string& name) const override;
    void move(const std::string& name, Folder& target, const std::string& newName) override;
    void removeTree(const std::string& name) override;

private:
    [[nodiscard]] int descriptor() const { return directory_.descriptor(); }

    DirectoryPosix directory_;
};

} // namespace InstallerCore
