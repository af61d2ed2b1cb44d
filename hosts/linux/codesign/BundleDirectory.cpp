#include "hosts/linux/codesign/BundleDirectory.h"

#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/posix/EntryNames.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace InstallerCore::CodeSign {

namespace {

constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::optional<struct stat> statusOf(int directory, const std::string& name) {
    struct stat status = {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return status;
    }
    demand(errno == ENOENT, "cannot be read");
    return std::nullopt;
}

EntryKind kindOf(const struct stat& status) {
    switch (status.st_mode & static_cast<unsigned>(S_IFMT)) {
    case S_IFREG:
        return EntryKind::file;
    case S_IFDIR:
        return EntryKind::directory;
    case S_IFLNK:
        return EntryKind::link;
    default:
        return EntryKind::other;
    }
}

} // namespace

std::optional<BundleDirectory> BundleDirectory::open(const std::filesystem::path& path) {
    Descriptor directory(::open(path.c_str(), openFlags));
    if (directory.get() < 0) {
        return std::nullopt;
    }
    return BundleDirectory(std::move(directory), "");
}

std::optional<EntryKind> BundleDirectory::kind(const std::string& name) const {
    const auto status = at(place(name), [&] { return statusOf(directory_->get(), name); });
    return status ? std::optional(kindOf(*status)) : std::nullopt;
}

BundleDirectory BundleDirectory::directory(const std::string& name) const {
    Descriptor result(::openat(directory_->get(), name.c_str(), openFlags | O_NOFOLLOW));
    if (result.get() < 0) {
        throw SignatureError(errno == ENOTDIR || errno == ELOOP ? "is no directory" : "cannot be read")
            .at(place(name));
    }
    return {std::move(result), place(name) + "/"};
}

std::shared_ptr<const MappedFile> BundleDirectory::file(const std::string& name) const {
    return at(place(name), [&] { return MappedFile::open(directory_->get(), name); });
}

std::optional<Bytes> BundleDirectory::content(const std::string& name) const {
    constexpr std::size_t longest = std::size_t{16} << 20U;
    if (!kind(name)) {
        return std::nullopt;
    }
    return at(place(name), [&] {
        const auto file = MappedFile::open(directory_->get(), name);
        demand(file->bytes().size() <= longest, "is too long");
        Bytes content(file->bytes().begin(), file->bytes().end());
        file->demandUnchanged();
        return content;
    });
}

std::string BundleDirectory::target(const std::string& name) const {
    std::array<char, PATH_MAX> text{};
    const ssize_t length = ::readlinkat(directory_->get(), name.c_str(), text.data(), text.size());
    if (length < 0 || static_cast<std::size_t>(length) == text.size()) {
        throw SignatureError("is no link that can be read").at(place(name));
    }
    return {text.data(), static_cast<std::size_t>(length)};
}

std::vector<std::string> BundleDirectory::names() const {
    auto names = entryNames(directory_->get());
    if (!names) {
        throw SignatureError("cannot be read").at(place_.empty() ? "the bundle" : place_);
    }
    std::sort(names->begin(), names->end());
    return std::move(*names);
}

unsigned BundleDirectory::mode(const std::string& name) const {
    const auto status = at(place(name), [&] { return statusOf(directory_->get(), name); });
    if (!status) {
        throw SignatureError("is gone").at(place(name));
    }
    return status->st_mode;
}

} // namespace InstallerCore::CodeSign
