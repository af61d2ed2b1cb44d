#include "hosts/posix/FilesPosix.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/DirectoryPosix.h"
#include "hosts/posix/FileHandlePosix.h"
#include "hosts/posix/PosixError.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

namespace InstallerCore {

namespace {

constexpr mode_t ownerOnlyDirectory = 0700;

bool isDirectory(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void makeOwnerOnly(const std::filesystem::path& directory) {
    if (::fchmodat(AT_FDCWD, directory.c_str(), ownerOnlyDirectory, AT_SYMLINK_NOFOLLOW) != 0) {
        throwWriteError(errno);
    }
}

void createOneDirectory(const std::filesystem::path& path) {
    if (isDirectory(path)) {
        return;
    }
    if (::mkdir(path.c_str(), ownerOnlyDirectory) == 0) {
        makeOwnerOnly(path); // whatever the process's mask left of the permissions
        return;
    }
    const int error = errno;
    if (!isDirectory(path)) { // nobody else made it meanwhile
        throwWriteError(error);
    }
}

} // namespace

void FilesPosix::createDirectory(const std::filesystem::path& path) {
    std::filesystem::path soFar;
    for (const std::filesystem::path& component : path) {
        soFar /= component;
        createOneDirectory(soFar);
    }
}

FileAttributes FilesPosix::attributes(const std::filesystem::path& path) const {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
        throwReadError(errno);
    }
    return attributesFrom(status);
}

void FilesPosix::makePrivate(const std::filesystem::path& directory) {
    makeOwnerOnly(directory);
}

std::unique_ptr<Directory> FilesPosix::openDirectory(const std::filesystem::path& path) {
    const char* const place = path.empty() ? "." : path.c_str();
    Descriptor directory(::open(place, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (directory.get() < 0) {
        throwReadError(errno);
    }
    return std::make_unique<DirectoryPosix>(std::move(directory));
}

std::unique_ptr<FileHandle> FilesPosix::openForReading(const std::filesystem::path& path) {
    return std::make_unique<FileHandlePosix>(
        openRegularFile(AT_FDCWD, path.c_str(), FileAccess::read, Links::followed));
}

std::filesystem::path currentUsersHome() {
    constexpr std::size_t recordSize = 16'384;
    std::array<char, recordSize> buffer{};
    passwd record{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        throw PlatformError(FileErrorCode::readNoSuchFile);
    }
    std::filesystem::path home = record.pw_dir;
    if (!home.is_absolute()) { // an account without one
        throw PlatformError(FileErrorCode::readNoSuchFile);
    }
    return home;
}

} // namespace InstallerCore
