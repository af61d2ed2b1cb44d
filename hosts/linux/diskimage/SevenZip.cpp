#include "hosts/linux/diskimage/SevenZip.h"

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/diskimage/DiskFailure.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace InstallerCore {

namespace {

constexpr const char* program = "/usr/bin/7zz";
constexpr std::size_t longestListing = std::size_t{512} << 20U;

std::vector<std::string> arguments(std::vector<std::string> command, const std::filesystem::path& volume,
                                   VolumeKind kind) {
    command.insert(command.end(), {"-sns", "-sccUTF-8", "-bd", "-spd",
                                   kind == VolumeKind::hfsPlus ? "-thfs" : "-tapfs", "--", volume.string()});
    return command;
}

class FileActions {
public:
    explicit FileActions(int output) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }

    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// Names come as UTF-8 and times in UTC, whatever the caller's environment says.
pid_t spawn(const std::vector<std::string>& command, int output) {
    std::vector<std::string> owned{program};
    owned.insert(owned.end(), command.begin(), command.end());
    std::vector<std::string> environment{"LC_ALL=C.UTF-8", "TZ=UTC0", "PATH=/usr/bin:/bin"};
    const auto pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> result;
        result.reserve(texts.size() + 1);
        for (std::string& text : texts) {
            result.push_back(text.data());
        }
        result.push_back(nullptr);
        return result;
    };
    pid_t process = -1;
    const int error = ::posix_spawn(&process, program, FileActions(output).get(), nullptr,
                                    pointers(owned).data(), pointers(environment).data());
    if (error != 0) {
        throwDiskFailure("7-Zip cannot be started", error);
    }
    return process;
}

} // namespace

SevenZipStream::SevenZipStream(const std::filesystem::path& volume, VolumeKind kind)
    : SevenZipStream(arguments({"x", "-so"}, volume, kind)) {}

SevenZipStream::SevenZipStream(const std::vector<std::string>& arguments) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throwDiskFailure("7-Zip cannot be started", errno);
    }
    output_ = Descriptor(ends[0]);
    const Descriptor input(ends[1]);
    constexpr int pipeSize = 1 << 20;
    ::fcntl(ends[0], F_SETPIPE_SZ, pipeSize); // fewer switches between the two; the default does as well
    process_ = spawn(arguments, input.get());
}

SevenZipStream::~SevenZipStream() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

std::size_t SevenZipStream::readSome(std::span<std::byte> buffer) {
    while (true) {
        const ssize_t count = ::read(output_.get(), buffer.data(), buffer.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throwDiskFailure("7-Zip cannot be read", errno);
        }
    }
}

void SevenZipStream::read(std::span<std::byte> buffer) {
    while (!buffer.empty()) {
        const std::size_t count = readSome(buffer);
        if (count == 0) {
            waitForEnd();
            throw DiskImageError("the volume holds less than it lists");
        }
        buffer = buffer.subspan(count);
    }
}

void SevenZipStream::finish() {
    std::array<std::byte, 1> more{};
    if (readSome(more) != 0) {
        throw DiskImageError("the volume holds more than it lists");
    }
    waitForEnd();
}

void SevenZipStream::waitForEnd() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0) {
        if (errno != EINTR) {
            throwDiskFailure("7-Zip cannot be waited for", errno);
        }
    }
    process_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw DiskImageError("the volume is damaged, encrypted or of an unknown kind");
    }
}

std::string listVolume(const std::filesystem::path& volume, VolumeKind kind) {
    SevenZipStream stream(arguments({"l", "-slt"}, volume, kind));
    constexpr std::size_t pieceSize = std::size_t{1} << 20U;
    std::string listing;
    std::vector<std::byte> piece(pieceSize);
    while (const std::size_t count = stream.readSome(piece)) {
        if (listing.size() + count > longestListing) {
            throw DiskImageError("the volume has too many entries");
        }
        listing += asText(std::span(piece).first(count));
    }
    stream.waitForEnd();
    return listing;
}

} // namespace InstallerCore
