#include "tests/hosts/posix/SystemCalls.h"

#include <sys/types.h>

#include <cerrno>
#include <map>

struct stat;

namespace InstallerCore::Testing {

std::function<void(const std::string& call)> beforeSystemCall;

namespace {

std::map<std::string, int>& failures() {
    static std::map<std::string, int> errors; // by call
    return errors;
}

// Whether the call fails; errno says how.
bool fails(const char* call) {
    const auto failure = failures().find(call);
    if (failure == failures().end()) {
        return false;
    }
    errno = failure->second;
    return true;
}

void announce(const char* call) {
    // What the step itself calls is not announced.
    if (const auto step = std::exchange(beforeSystemCall, nullptr)) {
        step(call);
        beforeSystemCall = step;
    }
}

} // namespace

FailingCall::FailingCall(std::string call, int errorNumber) : call_(std::move(call)) {
    if (errorNumber != 0) {
        failures()[call_] = errorNumber;
    }
}

FailingCall::~FailingCall() {
    failures().erase(call_);
}

} // namespace InstallerCore::Testing

using InstallerCore::Testing::announce;
using InstallerCore::Testing::fails;

// The linker sends the calls to the first of each pair and knows the system's own by the second.
extern "C" {
int __real_openat(int directory, const char* path, int flags, mode_t mode);
int __real_fstatat(int directory, const char* path, struct stat* status, int flags);
int __real_fstat(int file, struct stat* status);
int __real_renameat(int from, const char* name, int to, const char* newName);
int __real_renameat2(int from, const char* name, int to, const char* newName, unsigned flags);
int __real_fsync(int file);
int __real_mkdirat(int directory, const char* path, mode_t mode);
int __real_unlinkat(int directory, const char* path, int flags);
int __real_fchmodat(int directory, const char* path, mode_t mode, int flags);
int __real_flock(int file, int operation);

int __wrap_openat(int directory, const char* path, int flags, mode_t mode) {
    announce("openat");
    return __real_openat(directory, path, flags, mode);
}

// What a hardened build makes of the call without a mode.
int __wrap___openat_2(int directory, const char* path, int flags) {
    announce("openat");
    return __real_openat(directory, path, flags, 0);
}

int __wrap_fstatat(int directory, const char* path, struct stat* status, int flags) {
    announce("fstatat");
    return fails("fstatat") ? -1 : __real_fstatat(directory, path, status, flags);
}

int __wrap_fstat(int file, struct stat* status) {
    announce("fstat");
    return __real_fstat(file, status);
}

int __wrap_renameat(int from, const char* name, int to, const char* newName) {
    announce("renameat");
    return __real_renameat(from, name, to, newName);
}

int __wrap_renameat2(int from, const char* name, int to, const char* newName, unsigned flags) {
    announce("renameat2");
    return fails("renameat2") ? -1 : __real_renameat2(from, name, to, newName, flags);
}

int __wrap_fsync(int file) {
    announce("fsync");
    return fails("fsync") ? -1 : __real_fsync(file);
}

int __wrap_mkdirat(int directory, const char* path, mode_t mode) {
    announce("mkdirat");
    return __real_mkdirat(directory, path, mode);
}

int __wrap_unlinkat(int directory, const char* path, int flags) {
    announce("unlinkat");
    return __real_unlinkat(directory, path, flags);
}

int __wrap_fchmodat(int directory, const char* path, mode_t mode, int flags) {
    announce("fchmodat");
    return fails("fchmodat") ? -1 : __real_fchmodat(directory, path, mode, flags);
}

int __wrap_flock(int file, int operation) {
    announce("flock");
    return __real_flock(file, operation);
}
}
