#pragma once

#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/support/PlatformError.h"

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Forwards every operation of the file system, handles and directories included, to another one and keeps
// count of them. A test asks for the n-th to fail instead, or for something to happen just before it.
//
// Operations are named "Files.openDirectory", "Directory.replace", "FileHandle.write" and so on.
class FaultyFiles final : public Files {
public:
    explicit FaultyFiles(Files& real) : real_(real) {}

    // The count-th call (from 1) of the named operation throws this instead of being made.
    void failAt(std::string operation, int count, FileErrorCode code);

    // The count-th call of any operation throws this instead of being made.
    void failAtAny(int count, FileErrorCode code);

    // Before every call, with its name and its argument (an entry's name, a path, or empty).
    std::function<void(const std::string& operation, const std::string& argument)> before;

    // The names of all calls so far, in order.
    [[nodiscard]] std::vector<std::string> calls() const;

    // For the wrappers of operations that cannot fail: counts the call.
    void announce(const std::string& operation, const std::string& argument = {});

    // For the other wrappers: counts the call and fails when it is to fail.
    void enter(const std::string& operation, const std::string& argument = {});

    [[nodiscard]] std::filesystem::path homeDirectory() const override;
    void createDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] FileAttributes attributes(const std::filesystem::path& path) const override;
    void makePrivate(const std::filesystem::path& directory) override;
    [[nodiscard]] std::unique_ptr<Directory> openDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] std::unique_ptr<FileHandle> openForReading(const std::filesystem::path& path) override;

private:
    struct Fault {
        std::optional<std::string> operation; // absent: any
        int remaining;
        FileErrorCode code;
    };

    // Counting is not part of what a caller sees.
    FaultyFiles& self() const noexcept { return const_cast<FaultyFiles&>(*this); }

    Files& real_;
    mutable std::mutex lock_;
    std::vector<Fault> faults_;
    std::vector<std::string> calls_;
};

// The same for folders. They share calls and faults with the files, so that the order of all effects is one
// list.
class FaultyFolders final : public Folders {
public:
    FaultyFolders(Folders& real, FaultyFiles& faults) : real_(real), faults_(faults) {}

    [[nodiscard]] std::unique_ptr<Folder> open(const std::filesystem::path& path) const override;
    [[nodiscard]] bool exists(const std::filesystem::path& path) const override;
    [[nodiscard]] bool isWritable(const std::filesystem::path& path) const override;
    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override;

private:
    Folders& real_;
    FaultyFiles& faults_;
};

} // namespace InstallerCore::Testing
