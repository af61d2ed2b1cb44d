#include "tests/support/SystemCallTracer.h"

#include "tests/support/TracedCalls.h"

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

constexpr int cannotStart = 127;

// A number of /proc/PID/status; absent when the process is gone.
std::optional<pid_t> statusNumber(pid_t process, const std::string& key) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(key + ":\t")) {
            return std::atoi(line.c_str() + key.size() + 2);
        }
    }
    return std::nullopt;
}

// All processes that this thread traces, those included whose first stop has not been seen yet.
std::vector<pid_t> tracedProcesses() {
    std::vector<pid_t> result;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        pid_t process = 0;
        const auto parsed = std::from_chars(name.data(), name.data() + name.size(), process);
        if (parsed.ec == std::errc{} && statusNumber(process, "TracerPid") == ::gettid()) {
            result.push_back(process);
        }
    }
    return result;
}

// A file in memory that collects what the processes write.
class Collector {
public:
    Collector() : descriptor_(::memfd_create("output", MFD_CLOEXEC)) {
        if (descriptor_ < 0) {
            throw std::runtime_error("no file in memory");
        }
    }

    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    ~Collector() { ::close(descriptor_); }

    [[nodiscard]] int descriptor() const { return descriptor_; }

    [[nodiscard]] std::string text() const {
        std::string text;
        std::array<char, 4096> piece{};
        ssize_t count = 0;
        while ((count = ::pread(descriptor_, piece.data(), piece.size(), static_cast<off_t>(text.size()))) >
               0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int descriptor_;
};

// The argument and environment vectors of a program, in the form that the system takes.
class Vectors {
public:
    explicit Vectors(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {
        for (char** variable = environ; *variable != nullptr; ++variable) {
            if (!std::string_view(*variable).starts_with("ASAN_OPTIONS=")) {
                environment_.emplace_back(*variable);
            }
        }
        environment_.emplace_back("ASAN_OPTIONS=detect_leaks=0"); // it cannot look where another traces
        argumentPointers_ = pointers(arguments_);
        environmentPointers_ = pointers(environment_);
    }

    [[nodiscard]] char* const* arguments() const { return argumentPointers_.data(); }

    [[nodiscard]] char* const* environment() const { return environmentPointers_.data(); }

private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (std::string& text : texts) {
            result.push_back(text.data());
        }
        result.push_back(nullptr);
        return result;
    }

    std::vector<std::string> arguments_;
    std::vector<std::string> environment_;
    std::vector<char*> argumentPointers_;
    std::vector<char*> environmentPointers_;
};

// In the child: waits until it is traced, and becomes the program. Only plain calls of the system from here.
[[noreturn]] void become(const Vectors& vectors, std::vector<sock_filter>& filter, int ready, int output,
                         int errors) {
    const sock_fprog program{.len = static_cast<unsigned short>(filter.size()), .filter = filter.data()};
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    char byte = 0;
    if (::dup2(input, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0 ||
        ::dup2(errors, STDERR_FILENO) < 0 || ::read(ready, &byte, 1) != 1 ||
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) != 0) {
        ::_exit(cannotStart);
    }
    ::execve(vectors.arguments()[0], vectors.arguments(), vectors.environment());
    ::_exit(cannotStart);
}

class Tracer {
public:
    Tracer(TracedEffects effects, const CallWatcher& watcher) : effects_(effects), watcher_(watcher) {}

    TracedEnd run(const std::vector<std::string>& arguments) {
        start(arguments);
        int status = 0;
        pid_t thread = 0;
        while ((thread = ::waitpid(-1, &status, __WALL | __WNOTHREAD)) > 0 || errno == EINTR) {
            if (thread > 0) {
                handle(thread, status);
            }
        }
        return {.status = status_, .output = output_.text(), .errors = errors_.text()};
    }

private:
    struct Owner {
        pid_t process = -1;
        std::string program;
    };

    void start(const std::vector<std::string>& arguments) {
        const Vectors vectors(arguments);
        auto filter = callFilter(effects_);
        std::array<int, 2> ready{};
        if (::pipe2(ready.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        first_ = ::fork();
        if (first_ == 0) {
            become(vectors, filter, ready[0], output_.descriptor(), errors_.descriptor());
        }
        constexpr long options = PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                                 PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
        const bool seized = first_ > 0 && ::ptrace(PTRACE_SEIZE, first_, nullptr, options) == 0;
        const char byte = 'g';
        const bool told = seized && ::write(ready[1], &byte, 1) == 1;
        ::close(ready[0]);
        ::close(ready[1]);
        if (!told) {
            ::waitpid(first_, nullptr, 0); // it has read the end of the pipe
            throw std::runtime_error("cannot trace");
        }
    }

    void handle(pid_t thread, int status) {
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            owners_.erase(thread);
            if (thread == first_) {
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
                release();
            }
            return;
        }
        const auto event = static_cast<unsigned>(status) >> 16U;
        if (event == PTRACE_EVENT_SECCOMP) {
            decide(thread);
        } else if (event == PTRACE_EVENT_EXEC) {
            started_ = true;
            owners_.erase(thread); // it is another program now
            goOn(thread);
        } else {
            goOn(thread, event == 0 ? WSTOPSIG(status) : 0);
        }
    }

    // A thread that has been killed meanwhile does not go on, which is as well.
    static void goOn(pid_t thread, int signal = 0) { ::ptrace(PTRACE_CONT, thread, nullptr, signal); }

    void decide(pid_t thread) {
        const auto raw = rawCall(thread);
        auto call = started_ && raw ? describeCall(thread, *raw, effects_) : std::nullopt;
        if (!call) {
            return goOn(thread);
        }
        const Owner& owner = ownerOf(thread);
        call->process = owner.process;
        call->byFirst = owner.process == first_;
        call->program = owner.program;
        const CallAnswer answer = watcher_(*call);
        if (answer.errorNumber() != 0) {
            skipCall(thread, answer.errorNumber());
        }
        if (answer.kills()) {
            kill(answer.victims(), owner.process);
        }
        if (answer.kills() && answer.victims() == Victims::first && !call->byFirst && !ended()) {
            held_ = thread;
        } else {
            goOn(thread);
        }
    }

    const Owner& ownerOf(pid_t thread) {
        const auto known = owners_.find(thread);
        if (known != owners_.end()) {
            return known->second;
        }
        std::error_code error;
        const auto executable =
            std::filesystem::read_symlink("/proc/" + std::to_string(thread) + "/exe", error);
        Owner owner{.process = statusNumber(thread, "Tgid").value_or(thread),
                    .program = executable.filename().string()};
        return owners_.emplace(thread, std::move(owner)).first->second;
    }

    void kill(Victims victims, pid_t caller) const {
        switch (victims) {
        case Victims::first:
            ::kill(first_, SIGKILL);
            return;
        case Victims::caller:
            ::kill(caller, SIGKILL);
            return;
        case Victims::others:
        case Victims::all:
            for (const pid_t process : tracedProcesses()) {
                if (victims == Victims::all || process != first_) {
                    ::kill(process, SIGKILL);
                }
            }
            return;
        }
    }

    [[nodiscard]] bool ended() const { return status_ != running; }

    void release() {
        if (held_) {
            goOn(*held_);
            held_.reset();
        }
    }

    static constexpr int running = 1'000;

    TracedEffects effects_;
    const CallWatcher& watcher_;
    Collector output_;
    Collector errors_;
    pid_t first_ = -1;
    int status_ = running;
    bool started_ = false;          // the child has become the program
    std::map<pid_t, Owner> owners_; // by thread
    std::optional<pid_t> held_;     // until the first program is dead
};

} // namespace

std::string SystemCall::text() const {
    std::string text = program + ": " + name;
    for (const auto& path : paths) {
        text.append(" ").append(path.string());
    }
    return text;
}

TracedEnd traceProgram(const std::vector<std::string>& arguments, TracedEffects effects,
                       const CallWatcher& watcher) {
    return Tracer(effects, watcher).run(arguments);
}

bool canTrace() {
    try {
        bool seen = false;
        const TracedEnd end = traceProgram({"/bin/true"}, TracedEffects::changes, [&](const SystemCall&) {
            seen = true; // its end
            return CallAnswer::proceed();
        });
        return seen && end.status == 0;
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace InstallerCore::Testing
