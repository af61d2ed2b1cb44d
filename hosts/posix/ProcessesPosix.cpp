#include "hosts/posix/ProcessesPosix.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/Descriptor.h"
#include "hosts/posix/PosixError.h"
#include "hosts/posix/SystemSpecifics.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <span>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration): not every system's header has it

namespace InstallerCore {

namespace {

constexpr const char* nullDevice = "/dev/null";

[[noreturn]] void throwLaunchError(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
        throw PlatformError(ProcessErrorCode::noSuchExecutable);
    case EACCES:
    case EPERM:
        throw PlatformError(ProcessErrorCode::notExecutable);
    default:
        throw PlatformError(ProcessErrorCode::cannotLaunch);
    }
}

void require(int errorNumber) {
    if (errorNumber != 0) {
        throwLaunchError(errorNumber);
    }
}

// What the child does to its descriptors and directory between its birth and the program.
class FileActions {
public:
    FileActions() { require(::posix_spawn_file_actions_init(&actions_)); }

    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    void duplicate(int from, int to) { require(::posix_spawn_file_actions_adddup2(&actions_, from, to)); }

    void closeOff(int descriptor) {
        const int access = descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY;
        require(::posix_spawn_file_actions_addopen(&actions_, descriptor, nullDevice, access, 0));
    }

    void enter(const char* directory) {
        require(::posix_spawn_file_actions_addchdir_np(&actions_, directory));
    }

    void inherit(int stream) { require(inheritStream(actions_, stream)); }

    void closeAboveStandardStreams() { require(closeAboveStreams(actions_)); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// The child starts with no signal blocked, whatever thread it comes from, and minds the two that libraries
// like to switch off in their own process.
class SpawnAttributes {
public:
    explicit SpawnAttributes(int flags) {
        require(::posix_spawnattr_init(&attributes_));
        sigset_t none;
        sigset_t ignored;
        sigemptyset(&none); // these four are macros on some systems
        sigemptyset(&ignored);
        sigaddset(&ignored, SIGPIPE);
        sigaddset(&ignored, SIGCHLD);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &ignored);
        flags |= POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | closingSpawnFlag();
        ::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
    }

    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

pid_t spawn(const std::string& executable, const std::vector<std::string>& arguments,
            const FileActions& actions, const SpawnAttributes& attributes) {
    const auto isCString = [](const std::string& text) { return text.find('\0') == std::string::npos; };
    if (!isCString(executable) || !std::all_of(arguments.begin(), arguments.end(), isCString)) {
        throw PlatformError(ProcessErrorCode::cannotLaunch); // rather than with a part of them
    }
    std::vector<std::string> owned{executable};
    owned.insert(owned.end(), arguments.begin(), arguments.end());
    std::vector<char*> vector;
    vector.reserve(owned.size() + 1);
    for (std::string& argument : owned) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    pid_t child = -1;
    require(
        ::posix_spawn(&child, executable.c_str(), actions.get(), attributes.get(), vector.data(), environ));
    return child;
}

int waitForEnd(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) { // its end was taken by somebody else, so nobody knows how it was
            throw PlatformError(ProcessErrorCode::cannotLaunch);
        }
    }
    return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

// Returns 0, or errno of the read that failed.
int readToEnd(int descriptor, Bytes& all) {
    constexpr std::size_t pieceSize = 65'536;
    std::array<std::byte, pieceSize> piece{};
    while (true) {
        const ssize_t count = ::read(descriptor, piece.data(), piece.size());
        if (count == 0) {
            return 0;
        }
        if (count > 0) {
            const auto read = std::span(piece).first(static_cast<std::size_t>(count));
            all.insert(all.end(), read.begin(), read.end());
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// The same, but not in the place of a standard stream that this process has closed: a child would be given
// it for its own.
Descriptor aboveStreams(Descriptor end) {
    constexpr int first = STDERR_FILENO + 1;
    Descriptor result =
        end.get() >= first ? std::move(end) : Descriptor(::fcntl(end.get(), F_DUPFD_CLOEXEC, first));
    if (result.get() < 0) {
        throw PlatformError(ProcessErrorCode::cannotLaunch);
    }
    return result;
}

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (makeClosingPipe(ends) != 0) {
        throw PlatformError(ProcessErrorCode::cannotLaunch);
    }
    Pipe pipe{.reading = Descriptor(ends[0]), .writing = Descriptor(ends[1])};
    return {.reading = aboveStreams(std::move(pipe.reading)),
            .writing = aboveStreams(std::move(pipe.writing))};
}

} // namespace

ProcessResult ProcessesPosix::run(const std::string& executable, const std::vector<std::string>& arguments,
                                  ErrorOutput errors) {
    Pipe pipe = makePipe();
    FileActions actions;
    actions.inherit(STDIN_FILENO);
    actions.duplicate(pipe.writing.get(), STDOUT_FILENO);
    if (errors == ErrorOutput::discarded) {
        actions.closeOff(STDERR_FILENO);
    } else {
        actions.inherit(STDERR_FILENO);
    }
    actions.closeAboveStandardStreams();
    const pid_t child = spawn(executable, arguments, actions, SpawnAttributes(0));
    pipe.writing = Descriptor();

    ProcessResult result;
    int readError = 0;
    try {
        readError = readToEnd(pipe.reading.get(), result.output);
    } catch (const std::exception&) { // want of memory; nobody shall go on while the child still works
        pipe.reading = Descriptor();
        static_cast<void>(waitForEnd(child));
        throw;
    }
    pipe.reading = Descriptor(); // a child that goes on writing is told, instead of waiting for ever
    result.status = waitForEnd(child);
    if (readError != 0) {
        throwReadError(readError);
    }
    return result;
}

void ProcessesPosix::startDetached(const std::string& executable, const std::vector<std::string>& arguments) {
    FileActions actions;
    actions.closeOff(STDIN_FILENO);
    actions.closeOff(STDOUT_FILENO);
    actions.closeOff(STDERR_FILENO);
    actions.enter("/");
    actions.closeAboveStandardStreams();
    static_cast<void>(spawn(executable, arguments, actions, SpawnAttributes(POSIX_SPAWN_SETSID)));
}

std::int64_t ProcessesPosix::ownIdentifier() const noexcept {
    return ::getpid();
}

} // namespace InstallerCore
