#include "tests/support/TracedCalls.h"

#include <elf.h>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <linux/seccomp.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <span>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

using Effect = SystemCall::Effect;

constexpr int none = -1;

// Which arguments of a call name an entry: a path, alone or below an open directory, or a descriptor alone.
struct Place {
    int directory = none;
    int path = none;

    [[nodiscard]] bool isGiven() const { return directory != none || path != none; }
};

constexpr Place byPath(int path) {
    return {.directory = none, .path = path};
}

constexpr Place below(int directory) {
    return {.directory = directory, .path = directory + 1};
}

constexpr Place opened(int descriptor) {
    return {.directory = descriptor, .path = none};
}

// Some calls change something only with certain flags.
enum class Flags { ignored, open, openHow, ioctl };

struct CallKind {
    const char* name;
    std::uint64_t number;
    Effect effect;
    Place first;
    Place second;
    Flags flags = Flags::ignored;
    int flagsArgument = none;
};

constexpr CallKind kinds[] = {
    {"openat", SYS_openat, Effect::look, below(0), {}, Flags::open, 2},
    {"openat2", SYS_openat2, Effect::look, below(0), {}, Flags::openHow, 2},
    {"write", SYS_write, Effect::change, opened(0), {}},
    {"pwrite64", SYS_pwrite64, Effect::change, opened(0), {}},
    {"writev", SYS_writev, Effect::change, opened(0), {}},
    {"pwritev", SYS_pwritev, Effect::change, opened(0), {}},
    {"copy_file_range", SYS_copy_file_range, Effect::change, opened(2), {}},
    {"sendfile", SYS_sendfile, Effect::change, opened(0), {}},
    {"splice", SYS_splice, Effect::change, opened(2), {}},
    {"truncate", SYS_truncate, Effect::change, byPath(0), {}},
    {"ftruncate", SYS_ftruncate, Effect::change, opened(0), {}},
    {"fallocate", SYS_fallocate, Effect::change, opened(0), {}},
    {"ioctl", SYS_ioctl, Effect::look, opened(0), {}, Flags::ioctl, 1},
    {"mkdirat", SYS_mkdirat, Effect::change, below(0), {}},
    {"mknodat", SYS_mknodat, Effect::change, below(0), {}},
    {"renameat2", SYS_renameat2, Effect::change, below(0), below(2)},
    {"linkat", SYS_linkat, Effect::change, below(0), below(2)},
    {"symlinkat", SYS_symlinkat, Effect::change, below(1), {}},
    {"unlinkat", SYS_unlinkat, Effect::change, below(0), {}},
    {"fchmod", SYS_fchmod, Effect::change, opened(0), {}},
    {"fchmodat", SYS_fchmodat, Effect::change, below(0), {}},
    {"fchmodat2", 452, Effect::change, below(0), {}}, // newer than the oldest headers
    {"fchown", SYS_fchown, Effect::change, opened(0), {}},
    {"fchownat", SYS_fchownat, Effect::change, below(0), {}},
    {"utimensat", SYS_utimensat, Effect::change, below(0), {}},
    {"setxattr", SYS_setxattr, Effect::change, byPath(0), {}},
    {"lsetxattr", SYS_lsetxattr, Effect::change, byPath(0), {}},
    {"fsetxattr", SYS_fsetxattr, Effect::change, opened(0), {}},
    {"removexattr", SYS_removexattr, Effect::change, byPath(0), {}},
    {"lremovexattr", SYS_lremovexattr, Effect::change, byPath(0), {}},
    {"fremovexattr", SYS_fremovexattr, Effect::change, opened(0), {}},
    {"fsync", SYS_fsync, Effect::change, opened(0), {}},
    {"fdatasync", SYS_fdatasync, Effect::change, opened(0), {}},
    {"syncfs", SYS_syncfs, Effect::change, opened(0), {}},
    {"newfstatat", SYS_newfstatat, Effect::look, below(0), {}},
    {"fstat", SYS_fstat, Effect::look, opened(0), {}},
    {"statx", SYS_statx, Effect::look, below(0), {}},
    {"statfs", SYS_statfs, Effect::look, byPath(0), {}},
    {"fstatfs", SYS_fstatfs, Effect::look, opened(0), {}},
    {"faccessat", SYS_faccessat, Effect::look, below(0), {}},
    {"faccessat2", SYS_faccessat2, Effect::look, below(0), {}},
    {"readlinkat", SYS_readlinkat, Effect::look, below(0), {}},
    {"getdents64", SYS_getdents64, Effect::look, opened(0), {}},
    {"read", SYS_read, Effect::look, opened(0), {}},
    {"pread64", SYS_pread64, Effect::look, opened(0), {}},
    {"readv", SYS_readv, Effect::look, opened(0), {}},
    {"preadv", SYS_preadv, Effect::look, opened(0), {}},
    {"getxattr", SYS_getxattr, Effect::look, byPath(0), {}},
    {"lgetxattr", SYS_lgetxattr, Effect::look, byPath(0), {}},
    {"fgetxattr", SYS_fgetxattr, Effect::look, opened(0), {}},
    {"listxattr", SYS_listxattr, Effect::look, byPath(0), {}},
    {"llistxattr", SYS_llistxattr, Effect::look, byPath(0), {}},
    {"flistxattr", SYS_flistxattr, Effect::look, opened(0), {}},
    {"flock", SYS_flock, Effect::look, opened(0), {}},
    {"execve", SYS_execve, Effect::look, byPath(0), {}},
    {"exit_group", SYS_exit_group, Effect::end, {}, {}},
#ifdef __x86_64__ // the older forms, which newer architectures never had
    {"open", SYS_open, Effect::look, byPath(0), {}, Flags::open, 1},
    {"creat", SYS_creat, Effect::change, byPath(0), {}},
    {"mkdir", SYS_mkdir, Effect::change, byPath(0), {}},
    {"mknod", SYS_mknod, Effect::change, byPath(0), {}},
    {"rename", SYS_rename, Effect::change, byPath(0), byPath(1)},
    {"renameat", SYS_renameat, Effect::change, below(0), below(2)},
    {"link", SYS_link, Effect::change, byPath(0), byPath(1)},
    {"symlink", SYS_symlink, Effect::change, byPath(1), {}},
    {"unlink", SYS_unlink, Effect::change, byPath(0), {}},
    {"rmdir", SYS_rmdir, Effect::change, byPath(0), {}},
    {"chmod", SYS_chmod, Effect::change, byPath(0), {}},
    {"chown", SYS_chown, Effect::change, byPath(0), {}},
    {"lchown", SYS_lchown, Effect::change, byPath(0), {}},
    {"utime", SYS_utime, Effect::change, byPath(0), {}},
    {"utimes", SYS_utimes, Effect::change, byPath(0), {}},
    {"futimesat", SYS_futimesat, Effect::change, below(0), {}},
    {"stat", SYS_stat, Effect::look, byPath(0), {}},
    {"lstat", SYS_lstat, Effect::look, byPath(0), {}},
    {"access", SYS_access, Effect::look, byPath(0), {}},
    {"readlink", SYS_readlink, Effect::look, byPath(0), {}},
    {"getdents", SYS_getdents, Effect::look, opened(0), {}},
#endif
};

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#endif

bool isOfInterest(const CallKind& kind, TracedEffects effects) {
    return effects == TracedEffects::changesAndLooks || kind.effect != Effect::look ||
           kind.flags != Flags::ignored;
}

std::string procFile(pid_t thread, const std::string& name) {
    return "/proc/" + std::to_string(thread) + "/" + name;
}

std::string linkText(const std::string& link) {
    std::error_code error;
    return std::filesystem::read_symlink(link, error).string();
}

// What the memory of the thread holds there, as far as it can be read.
std::size_t readMemory(pid_t thread, std::uint64_t address, std::span<std::byte> buffer) {
    iovec local{.iov_base = buffer.data(), .iov_len = buffer.size()};
    iovec remote{.iov_base = reinterpret_cast<void*>(address), // NOLINT: an address of another process
                 .iov_len = buffer.size()};
    const ssize_t count = ::process_vm_readv(thread, &local, 1, &remote, 1, 0);
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

std::string readText(pid_t thread, std::uint64_t address) {
    constexpr std::uint64_t step = 256; // a multiple of it is a page's end, behind which may be nothing
    std::string text;
    std::array<std::byte, step> buffer{};
    while (true) {
        const std::size_t wanted = step - address % step;
        const std::size_t count = readMemory(thread, address, std::span(buffer).first(wanted));
        const auto read = std::span(buffer).first(count);
        const auto end = std::find(read.begin(), read.end(), std::byte{0});
        std::transform(read.begin(), end, std::back_inserter(text),
                       [](std::byte byte) { return static_cast<char>(byte); });
        if (count < wanted || end != read.end()) {
            return text;
        }
        address += count;
    }
}

// The call's own word, where the kernel takes only 32 bits of the register.
int descriptorIn(const RawCall& call, int argument) {
    return static_cast<int>(static_cast<std::uint32_t>(call.arguments[static_cast<std::size_t>(argument)]));
}

std::filesystem::path directoryOf(pid_t thread, const RawCall& call, const Place& place) {
    const int descriptor = place.directory == none ? AT_FDCWD : descriptorIn(call, place.directory);
    return linkText(procFile(thread, descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor)));
}

std::filesystem::path pathOf(pid_t thread, const RawCall& call, const Place& place) {
    std::filesystem::path path;
    if (place.path != none) {
        path = readText(thread, call.arguments[static_cast<std::size_t>(place.path)]);
    }
    if (path.is_absolute()) {
        return path.lexically_normal();
    }
    const std::filesystem::path directory = directoryOf(thread, call, place);
    return path.empty() ? directory : (directory / path).lexically_normal();
}

// Not a pipe, a socket, a device, the process table or a file in memory; /dev/shm is a directory as any
// other.
bool isInFileSystem(const std::filesystem::path& path) {
    const std::string text = path.string();
    const bool isDevice = text.starts_with("/dev/") && !text.starts_with("/dev/shm/");
    return text.starts_with("/") && !isDevice && !text.starts_with("/proc/") && !text.starts_with("/sys/") &&
           !text.starts_with("/memfd:");
}

bool opensToChange(std::uint64_t flags) {
    return (flags & static_cast<std::uint64_t>(O_CREAT | O_TRUNC)) != 0 ||
           (flags & static_cast<std::uint64_t>(O_TMPFILE)) == static_cast<std::uint64_t>(O_TMPFILE);
}

// Absent for a call that is not worth a stop after all.
std::optional<Effect> effectOf(pid_t thread, const RawCall& call, const CallKind& kind) {
    const auto flags =
        kind.flagsArgument == none ? 0 : call.arguments[static_cast<std::size_t>(kind.flagsArgument)];
    switch (kind.flags) {
    case Flags::ignored:
        return kind.effect;
    case Flags::open:
        return opensToChange(flags) ? Effect::change : Effect::look;
    case Flags::openHow: {
        open_how how{};
        static_cast<void>(readMemory(thread, flags, std::as_writable_bytes(std::span(&how, 1))));
        return opensToChange(how.flags) ? Effect::change : Effect::look;
    }
    case Flags::ioctl:
        return flags == FICLONE || flags == FICLONERANGE ? std::optional(Effect::change) : std::nullopt;
    }
    return std::nullopt;
}

constexpr sock_filter statement(unsigned code, std::uint32_t value) {
    return {.code = static_cast<std::uint16_t>(code), .jt = 0, .jf = 0, .k = value};
}

constexpr sock_filter jumpIfEqual(std::uint32_t value, std::size_t ifEqual, std::size_t ifNot) {
    return {.code = BPF_JMP | BPF_JEQ | BPF_K,
            .jt = static_cast<std::uint8_t>(ifEqual),
            .jf = static_cast<std::uint8_t>(ifNot),
            .k = value};
}

// For a request to the tracer that has failed: nobody has to answer for a thread that is dead.
void requireKilled(const char* problem) {
    if (errno != ESRCH) {
        throw std::runtime_error(problem);
    }
}

} // namespace

std::vector<sock_filter> callFilter(TracedEffects effects) {
    std::vector<std::uint32_t> numbers;
    for (const CallKind& kind : kinds) {
        if (isOfInterest(kind, effects)) {
            numbers.push_back(static_cast<std::uint32_t>(kind.number));
        }
    }
    std::vector<sock_filter> filter{
        statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        jumpIfEqual(architecture, 0, numbers.size() + 1),
        statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        filter.push_back(jumpIfEqual(numbers[index], numbers.size() - index, 0));
    }
    filter.push_back(statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    filter.push_back(statement(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    return filter;
}

std::optional<RawCall> rawCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info) <= 0) {
        requireKilled("no call to be read");
        return std::nullopt;
    }
    if (info.op != PTRACE_SYSCALL_INFO_SECCOMP) {
        throw std::runtime_error("not before a call");
    }
    RawCall call{.number = info.seccomp.nr};
    std::copy(std::begin(info.seccomp.args), std::end(info.seccomp.args), call.arguments.begin());
    return call;
}

#if defined(__x86_64__)

void skipCall(pid_t thread, int errorNumber) {
    user_regs_struct registers{};
    if (::ptrace(PTRACE_GETREGS, thread, nullptr, &registers) != 0) {
        return requireKilled("no registers");
    }
    registers.orig_rax = static_cast<unsigned long long>(-1);
    registers.rax = static_cast<unsigned long long>(-errorNumber);
    if (::ptrace(PTRACE_SETREGS, thread, nullptr, &registers) != 0) {
        requireKilled("the call cannot be skipped");
    }
}

#elif defined(__aarch64__)

void skipCall(pid_t thread, int errorNumber) {
    user_regs_struct registers{};
    iovec general{.iov_base = &registers, .iov_len = sizeof(registers)};
    if (::ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &general) != 0) {
        return requireKilled("no registers");
    }
    registers.regs[0] = static_cast<unsigned long long>(-errorNumber);
    int noCall = -1;
    iovec number{.iov_base = &noCall, .iov_len = sizeof(noCall)};
    if (::ptrace(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &number) != 0 ||
        ::ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &general) != 0) {
        requireKilled("the call cannot be skipped");
    }
}

#endif

std::optional<SystemCall> describeCall(pid_t thread, const RawCall& call, TracedEffects effects) {
    const auto* const kind = std::find_if(std::begin(kinds), std::end(kinds),
                                          [&](const CallKind& each) { return each.number == call.number; });
    if (kind == std::end(kinds)) {
        return std::nullopt;
    }
    const auto effect = effectOf(thread, call, *kind);
    if (!effect || (effect == Effect::look && effects == TracedEffects::changes)) {
        return std::nullopt;
    }
    SystemCall described{.name = kind->name, .effect = *effect};
    for (const Place& place : {kind->first, kind->second}) {
        if (place.isGiven()) {
            described.paths.push_back(pathOf(thread, call, place));
        }
    }
    const bool isElsewhere = std::none_of(described.paths.begin(), described.paths.end(), isInFileSystem);
    return effect != Effect::end && isElsewhere ? std::nullopt : std::optional(described);
}

} // namespace InstallerCore::Testing
