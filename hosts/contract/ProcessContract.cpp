#include "InstallerCore/platform/Processes.h"
#include "hosts/contract/Contract.h"
#include "hosts/posix/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace InstallerCore::HostContract {

namespace {

using Errors = Processes::ErrorOutput;

// A standard stream of this process that is closed, or leads to a file, as long as the object lives.
class LedStream {
public:
    explicit LedStream(int stream)
        : stream_(stream), kept_(::fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        if (kept_.get() < 0 || ::close(stream) != 0) {
            throw PlatformError(FileErrorCode::readUnknown);
        }
    }

    LedStream(int stream, const std::filesystem::path& file, int flags)
        : stream_(stream), kept_(::fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        const Descriptor opened(::open(file.c_str(), flags | O_CLOEXEC, 0600));
        if (kept_.get() < 0 || ::dup2(opened.get(), stream) != stream) {
            throw PlatformError(FileErrorCode::readUnknown);
        }
    }

    LedStream(const LedStream&) = delete;
    LedStream& operator=(const LedStream&) = delete;

    ~LedStream() { ::dup2(kept_.get(), stream_); }

private:
    int stream_;
    Descriptor kept_;
};

constexpr int appending = O_WRONLY | O_CREAT | O_APPEND;

ProcessResult runShell(const Contract& contract, const std::string& script, Errors errors) {
    return contract.platform().processes.run(contract.platform().paths.shell, {"-c", script}, errors);
}

void checkStreams(Contract& contract) {
    const TemporaryFolder folder;
    const auto errors = folder.path() / "errors";
    std::ofstream(folder.path() / "input") << "input";
    ProcessResult inherited;
    ProcessResult discarded;
    {
        const LedStream input(STDIN_FILENO, folder.path() / "input", O_RDONLY);
        const LedStream output(STDERR_FILENO, errors, appending);
        inherited = runShell(contract, "cat; echo inherited >&2", Errors::inherited);
        discarded = runShell(contract, "echo discarded >&2", Errors::discarded);
    }
    contract.that("standard input is inherited", asText(inherited.output) == "input");
    contract.that("standard error is inherited or closed off", contentOf(errors) == "inherited\n");
    contract.that("closed off, it can be written to", discarded.status == 0);
}

// What is closed here may not become an end of the pipe that brings the output.
void checkClosedStreams(Contract& contract) {
    const std::string script = "[ -e /dev/fd/0 ] && echo open; echo out";
    ProcessResult withoutInput;
    ProcessResult withoutBoth;
    {
        const LedStream input(STDIN_FILENO);
        withoutInput = runShell(contract, script, Errors::discarded);
        const LedStream output(STDOUT_FILENO);
        withoutBoth = runShell(contract, script, Errors::discarded);
    }
    contract.that("a closed input stays closed", asText(withoutInput.output) == "out\n");
    contract.that("with a closed output, too, the output comes", asText(withoutBoth.output) == "out\n");
}

// Whether the file is there, soon.
bool appears(const std::filesystem::path& file) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!std::filesystem::exists(file)) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace

void checkProcesses(Contract& contract) {
    Processes& processes = contract.platform().processes;
    contract.that("this process has its own identifier", processes.ownIdentifier() == ::getpid());
    const ProcessResult result = runShell(contract, "echo out; exit 3", Errors::inherited);
    contract.that("status and output come back", result.status == 3 && asText(result.output) == "out\n");
    const ProcessResult killed = runShell(contract, "kill -9 $$", Errors::inherited);
    contract.that("a signal is a status", killed.status == 9);
    checkStreams(contract);
    checkClosedStreams(contract);
    const Descriptor leak(::dup(STDOUT_FILENO)); // without the flag that closes it
    const ProcessResult open =
        runShell(contract, "[ -e /dev/fd/1 ] && [ ! -e /dev/fd/" + std::to_string(leak.get()) + " ]",
                 Errors::inherited);
    contract.that("nothing but the standard streams is inherited", leak.get() >= 0 && open.status == 0);
    contract.fails("a missing program is told", ProcessErrorCode::noSuchExecutable,
                   [&] { static_cast<void>(processes.run("/missing", {}, Errors::inherited)); });
}

void checkDetachedProcesses(Contract& contract) {
    // Tells of itself in one step, and lives until the folder goes.
    constexpr const char* script = R"(
streams=closed
echo lost && echo lost >&2 && streams=open
{
    pwd -P
    echo $$ $streams
    cat
    [ -e "/dev/fd/$2" ] && echo leak
} >"$1/new"
mv "$1/new" "$1/told"
while [ -d "$1" ]; do sleep 0.1; done
)";
    const TemporaryFolder folder;
    const auto& path = folder.path();
    std::ofstream(path / "input") << "input";
    const Descriptor leak(::dup(STDOUT_FILENO)); // without the flag that closes it
    {
        const LedStream input(STDIN_FILENO, path / "input", O_RDONLY);
        const LedStream output(STDOUT_FILENO, path / "output", appending);
        const LedStream errors(STDERR_FILENO, path / "output", appending);
        contract.platform().processes.startDetached(contract.platform().paths.shell,
                                                    {"-c", script, "sh", path, std::to_string(leak.get())});
    }
    const bool told = appears(path / "told");
    std::istringstream answer(contentOf(path / "told"));
    std::string directory;
    pid_t process = -1;
    std::string streams;
    std::string rest;
    answer >> directory >> process >> streams >> rest;
    contract.that("a detached program runs", told);
    contract.that("in the root directory", directory == "/");
    contract.that("in a session of its own", process > 0 && ::getsid(process) == process);
    contract.that("which is not ours", process != ::getpid());
    contract.that("its output goes nowhere", streams == "open" && contentOf(path / "output").empty());
    contract.that("it reads nothing and inherits nothing else", told && rest.empty());
}

} // namespace InstallerCore::HostContract
