#include "hosts/linux/codesign/MappedFile.h"

#include "hosts/linux/codesign/MappingFaults.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

namespace InstallerCore::CodeSign {

namespace {

constexpr const char* unreadable = "cannot be read";

bool isSameMoment(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

std::shared_ptr<const MappedFile> MappedFile::open(int directory, const std::string& name) {
    struct stat status = {};
    demand(::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0, unreadable);
    demand(S_ISREG(status.st_mode), "is no regular file");
    Descriptor file(
        ::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    demand(file.get() >= 0 && ::fstat(file.get(), &status) == 0, unreadable);
    demand(S_ISREG(status.st_mode), "is no regular file");
    // Not make_shared: the constructor is nobody else's.
    return std::shared_ptr<const MappedFile>(new MappedFile(std::move(file), status));
}

MappedFile::MappedFile(Descriptor file, const struct stat& status) : file_(std::move(file)), status_(status) {
    const auto size = static_cast<std::size_t>(status.st_size);
    size <= largestCopy ? copy(size) : map(size);
}

void MappedFile::copy(std::size_t size) {
    copy_ = std::make_unique_for_overwrite<std::byte[]>(size); // NOLINT(modernize-avoid-c-arrays)
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count =
            ::pread(file_.get(), copy_.get() + filled, size - filled, static_cast<off_t>(filled));
        demand(count >= 0 || errno == EINTR, unreadable);
        demand(count != 0, "changed while it was read");
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    bytes_ = {copy_.get(), size};
}

void MappedFile::map(std::size_t size) {
    void* const memory = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file_.get(), 0);
    demand(memory != MAP_FAILED, unreadable);
    ::madvise(memory, size, MADV_SEQUENTIAL); // a hint
    bytes_ = {static_cast<const std::byte*>(memory), size};
    try {
        faults_ = std::make_unique<MappingFaults>(bytes_);
    } catch (...) {
        ::munmap(memory, size);
        throw;
    }
}

MappedFile::~MappedFile() {
    if (faults_ != nullptr) {
        faults_.reset();
        ::munmap(const_cast<std::byte*>(bytes_.data()), bytes_.size());
    }
}

void MappedFile::demandUnchanged() const {
    struct stat now = {};
    const bool same = ::fstat(file_.get(), &now) == 0 && now.st_size == status_.st_size &&
                      isSameMoment(now.st_mtim, status_.st_mtim) &&
                      isSameMoment(now.st_ctim, status_.st_ctim);
    demand(same && (faults_ == nullptr || !faults_->occurred()), "changed while it was read");
}

std::optional<Bytes> MappedFile::attribute(const std::string& name) const {
    constexpr std::size_t longest = std::size_t{64} << 10U; // what Linux keeps at most
    Bytes value(longest);
    const ssize_t length = ::fgetxattr(file_.get(), name.c_str(), value.data(), value.size());
    if (length < 0) {
        demand(errno == ENODATA || errno == ENOTSUP, unreadable);
        return std::nullopt;
    }
    value.resize(static_cast<std::size_t>(length));
    return value;
}

} // namespace InstallerCore::CodeSign
