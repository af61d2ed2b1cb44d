#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// A call into the file system that a traced process is about to make, or its end.
struct SystemCall {
    enum class Effect {
        change, // of the file system: of names, contents, modes, attributes; and the flushing of them
        look,   // opening, reading, listing, asking; starting a program
        end,    // the process is done and exits
    };

    pid_t process = -1;
    bool byFirst = false; // by the program that was started here, not by one that it started
    std::string program;  // the file name of the executable
    std::string name;     // as the system's manual calls it, "renameat2"
    Effect effect = Effect::look;
    std::vector<std::filesystem::path> paths; // absolute; two of a rename or a link: from, to

    // For the messages of tests.
    [[nodiscard]] std::string text() const;
};

// Whom SIGKILL ends, before the call is made.
enum class Victims {
    first,  // the program that was started; whoever calls goes on once it is dead
    others, // all processes that it started
    all,
    caller, // the one process that is about to make the call
};

// What becomes of a call.
class CallAnswer {
public:
    [[nodiscard]] static CallAnswer proceed() { return {}; }

    [[nodiscard]] static CallAnswer kill(Victims victims) {
        CallAnswer answer;
        answer.kills_ = true;
        answer.victims_ = victims;
        return answer;
    }

    // The call is not made; its caller is told errno. An end cannot fail.
    [[nodiscard]] static CallAnswer fail(int errorNumber) {
        CallAnswer answer;
        answer.errorNumber_ = errorNumber;
        return answer;
    }

    [[nodiscard]] bool kills() const { return kills_; }

    [[nodiscard]] Victims victims() const { return victims_; }

    [[nodiscard]] int errorNumber() const { return errorNumber_; } // 0: it is made

private:
    bool kills_ = false;
    Victims victims_ = Victims::first;
    int errorNumber_ = 0;
};

struct TracedEnd {
    int status = 0;     // of the first program; minus the signal that ended it
    std::string output; // what it and its children wrote to their standard output
    std::string errors; // and standard error
};

// Asked before each call of all processes, one at a time. Calls on pipes, sockets, devices and the process
// table are left out.
using CallWatcher = std::function<CallAnswer(const SystemCall&)>;

enum class TracedEffects { changes, changesAndLooks }; // the ends are in both

// Runs a program, by its path and arguments, and returns when it and everything that it started have ended.
// The calling thread must have no other children meanwhile.
TracedEnd traceProgram(const std::vector<std::string>& arguments, TracedEffects effects,
                       const CallWatcher& watcher);

// Whether this process may trace another here.
[[nodiscard]] bool canTrace();

} // namespace InstallerCore::Testing
