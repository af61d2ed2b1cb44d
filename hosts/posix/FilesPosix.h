#pragma once

#include "InstallerCore/platform/Files.h"

namespace InstallerCore {

class FilesPosix final : public Files {
public:
    // The home directory of the current user, or what takes its place.
    explicit FilesPosix(std::filesystem::path home) : home_(std::move(home)) {}

    [[nodiscard]] std::filesystem::path homeDirectory() const override { return home_; }

    void createDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] FileAttributes attributes(const std::filesystem::path& path) const override;
    void makePrivate(const std::filesystem::path& directory) override;
    [[nodiscard]] std::unique_ptr<Directory> openDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] std::unique_ptr<FileHandle> openForReading(const std::filesystem::path& path) override;

private:
    std::filesystem::path home_;
};

// From the user database, since an environment variable can say anything.
[[nodiscard]] std::filesystem::path currentUsersHome();

} // namespace InstallerCore
