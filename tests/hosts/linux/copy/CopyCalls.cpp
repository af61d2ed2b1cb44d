#include "tests/hosts/linux/copy/CopyCalls.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <ctime>

namespace InstallerCore::Testing {

std::function<int(const std::string& call)> onCopyCall;

namespace {

// What the step itself calls goes straight through.
thread_local bool isStepping = false;

struct Stepping {
    Stepping() { isStepping = true; }

    Stepping(const Stepping&) = delete;
    Stepping& operator=(const Stepping&) = delete;

    ~Stepping() { isStepping = false; }
};

bool failsNow(const char* call) {
    if (!onCopyCall || isStepping) {
        return false;
    }
    const int before = errno;
    const Stepping stepping;
    const int error = onCopyCall(call);
    errno = error == 0 ? before : error;
    return error != 0;
}

} // namespace

} // namespace InstallerCore::Testing

using InstallerCore::Testing::failsNow;

// The linker sends the calls to these and knows the system's own by the other name.
extern "C" {
int __real_close(int file);

int __wrap_close(int file) {
    return failsNow("close") ? -1 : __real_close(file);
}

ssize_t __real_copy_file_range(int from, off_t* begin, int to, off_t* position, size_t count, unsigned flags);

ssize_t __wrap_copy_file_range(int from, off_t* begin, int to, off_t* position, size_t count,
                               unsigned flags) {
    return failsNow("copy_file_range") ? -1 : __real_copy_file_range(from, begin, to, position, count, flags);
}

int __real_fchmod(int file, mode_t mode);

int __wrap_fchmod(int file, mode_t mode) {
    return failsNow("fchmod") ? -1 : __real_fchmod(file, mode);
}

int __real_fchown(int file, uid_t user, gid_t group);

int __wrap_fchown(int file, uid_t user, gid_t group) {
    return failsNow("fchown") ? -1 : __real_fchown(file, user, group);
}

ssize_t __real_fgetxattr(int file, const char* name, void* value, size_t size);

ssize_t __wrap_fgetxattr(int file, const char* name, void* value, size_t size) {
    return failsNow("fgetxattr") ? -1 : __real_fgetxattr(file, name, value, size);
}

ssize_t __real_flistxattr(int file, char* names, size_t size);

ssize_t __wrap_flistxattr(int file, char* names, size_t size) {
    return failsNow("flistxattr") ? -1 : __real_flistxattr(file, names, size);
}

int __real_fsetxattr(int file, const char* name, const void* value, size_t size, int flags);

int __wrap_fsetxattr(int file, const char* name, const void* value, size_t size, int flags) {
    return failsNow("fsetxattr") ? -1 : __real_fsetxattr(file, name, value, size, flags);
}

int __real_fstat(int file, struct stat* status);

int __wrap_fstat(int file, struct stat* status) {
    return failsNow("fstat") ? -1 : __real_fstat(file, status);
}

int __real_fstatat(int directory, const char* path, struct stat* status, int flags);

int __wrap_fstatat(int directory, const char* path, struct stat* status, int flags) {
    return failsNow("fstatat") ? -1 : __real_fstatat(directory, path, status, flags);
}

int __real_ftruncate(int file, off_t size);

int __wrap_ftruncate(int file, off_t size) {
    return failsNow("ftruncate") ? -1 : __real_ftruncate(file, size);
}

int __real_futimens(int file, const struct timespec* times);

int __wrap_futimens(int file, const struct timespec* times) {
    return failsNow("futimens") ? -1 : __real_futimens(file, times);
}

int __real_linkat(int from, const char* path, int to, const char* newPath, int flags);

int __wrap_linkat(int from, const char* path, int to, const char* newPath, int flags) {
    return failsNow("linkat") ? -1 : __real_linkat(from, path, to, newPath, flags);
}

off_t __real_lseek(int file, off_t offset, int whence);

off_t __wrap_lseek(int file, off_t offset, int whence) {
    return failsNow("lseek") ? -1 : __real_lseek(file, offset, whence);
}

int __real_mkdirat(int directory, const char* path, mode_t mode);

int __wrap_mkdirat(int directory, const char* path, mode_t mode) {
    return failsNow("mkdirat") ? -1 : __real_mkdirat(directory, path, mode);
}

ssize_t __real_pread(int file, void* bytes, size_t count, off_t offset);

ssize_t __wrap_pread(int file, void* bytes, size_t count, off_t offset) {
    return failsNow("pread") ? -1 : __real_pread(file, bytes, count, offset);
}

ssize_t __real_pwrite(int file, const void* bytes, size_t count, off_t offset);

ssize_t __wrap_pwrite(int file, const void* bytes, size_t count, off_t offset) {
    return failsNow("pwrite") ? -1 : __real_pwrite(file, bytes, count, offset);
}

ssize_t __real_readlinkat(int directory, const char* path, char* text, size_t size);

ssize_t __wrap_readlinkat(int directory, const char* path, char* text, size_t size) {
    return failsNow("readlinkat") ? -1 : __real_readlinkat(directory, path, text, size);
}

int __real_symlinkat(const char* text, int directory, const char* path);

int __wrap_symlinkat(const char* text, int directory, const char* path) {
    return failsNow("symlinkat") ? -1 : __real_symlinkat(text, directory, path);
}

int __real_utimensat(int directory, const char* path, const struct timespec* times, int flags);

int __wrap_utimensat(int directory, const char* path, const struct timespec* times, int flags) {
    return failsNow("utimensat") ? -1 : __real_utimensat(directory, path, times, flags);
}

int __real_ioctl(int file, unsigned long request, void* argument);

int __wrap_ioctl(int file, unsigned long request, void* argument) {
    return failsNow("ioctl") ? -1 : __real_ioctl(file, request, argument);
}

int __real_openat(int directory, const char* path, int flags, mode_t mode);

int __wrap_openat(int directory, const char* path, int flags, mode_t mode) {
    return failsNow("openat") ? -1 : __real_openat(directory, path, flags, mode);
}

int __wrap___openat_2(int directory, const char* path, int flags) {
    return failsNow("openat") ? -1 : __real_openat(directory, path, flags, 0);
}
}
