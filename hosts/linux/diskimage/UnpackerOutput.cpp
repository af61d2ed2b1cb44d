#include "hosts/linux/diskimage/UnpackerOutput.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/posix/PosixError.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

namespace InstallerCore {

namespace {

constexpr int imageInChild = 3; // the first descriptor behind the standard streams

void require(int errorNumber) {
    switch (errorNumber) {
    case 0:
        return;
    case ENOENT:
        throw PlatformError(ProcessErrorCode::noSuchExecutable);
    case EACCES:
        throw PlatformError(ProcessErrorCode::notExecutable);
    default:
        throw PlatformError(ProcessErrorCode::cannotLaunch);
    }
}

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno);
    return {.reading = Descriptor(ends[0]), .writing = Descriptor(ends[1])};
}

// Only what it needs is open in the child: no input, the pipe, no error output, the image.
class ChildDescriptors {
public:
    ChildDescriptors(int image, int output) {
        require(::posix_spawn_file_actions_init(&actions_));
        require(::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO));
        require(::posix_spawn_file_actions_adddup2(&actions_, image, imageInChild));
        require(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        require(::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
        require(::posix_spawn_file_actions_addclosefrom_np(&actions_, imageInChild + 1));
    }

    ChildDescriptors(const ChildDescriptors&) = delete;
    ChildDescriptors& operator=(const ChildDescriptors&) = delete;

    ~ChildDescriptors() { ::posix_spawn_file_actions_destroy(&actions_); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// As a format of its own, not as what the disk holds; every partition to the standard output; no questions.
pid_t start(const std::string& program, const ChildDescriptors& descriptors) {
    std::vector<std::string> arguments{
        program, "x", "-tdmg", "-so", "-y", "--", "/proc/self/fd/" + std::to_string(imageInChild)};
    std::vector<char*> vector;
    vector.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    pid_t child = -1;
    require(::posix_spawn(&child, program.c_str(), descriptors.get(), nullptr, vector.data(), ::environ));
    return child;
}

int waitForEnd(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

} // namespace

UnpackerOutput::UnpackerOutput(const std::string& program, int image) {
    Pipe pipe = makePipe();
    child_ = start(program, ChildDescriptors(image, pipe.writing.get()));
    output_ = std::move(pipe.reading);
}

UnpackerOutput::~UnpackerOutput() {
    if (child_ >= 0) {
        ::kill(child_, SIGKILL);
        waitForEnd(child_);
    }
}

void UnpackerOutput::read(std::span<std::byte> buffer) {
    while (!buffer.empty()) {
        const std::size_t count = readSome(buffer);
        if (count == 0) {
            throw DiskImageError("the disk image holds less than it declares");
        }
        buffer = buffer.subspan(count);
    }
}

void UnpackerOutput::finish() {
    std::array<std::byte, 1> surplus{};
    if (readSome(surplus) != 0) {
        throw DiskImageError("the disk image holds more than it declares");
    }
    if (waitForEnd(std::exchange(child_, -1)) != 0) {
        throw DiskImageError("the disk image cannot be unpacked");
    }
}

std::size_t UnpackerOutput::readSome(std::span<std::byte> buffer) const {
    while (true) {
        const ssize_t count = ::read(output_.get(), buffer.data(), buffer.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throwReadError(errno);
        }
    }
}

} // namespace InstallerCore
