#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// Child processes for what a test may not do to its own process. None of this while other threads run.
namespace InstallerCore::Testing {

// Waits for the child to end. Its exit status; for one that a signal ended, the signal as a negative number.
int waitFor(pid_t child);

// What a command of the shell writes to its standard output; fails the test when the command fails.
std::string outputOf(const std::string& command);

// Runs the call in a child: what it changes for a whole process (mask, user, limits, mounts) ends with it.
// What fails or is skipped there fails or is skipped here.
void runInChild(const std::function<void()>& call);

// In a child: goes on as a user without privileges. One who has none stays who he is.
void dropPrivileges();

// In a child: puts a fresh volume in memory over the directory, for the eyes of this process only. False
// where that is not permitted.
[[nodiscard]] bool mountVolume(const std::filesystem::path& directory, const std::string& options);

// A child that has made the call and then stays as it is until killed or until this process ends.
class WaitingChild {
public:
    explicit WaitingChild(const std::function<bool()>& call);
    WaitingChild(const WaitingChild&) = delete;
    WaitingChild& operator=(const WaitingChild&) = delete;
    ~WaitingChild();

    // What the call returned; fails the test when it did not return.
    [[nodiscard]] bool result() const;

    void kill();

private:
    [[noreturn]] static void live(int end, const std::function<bool()>& call);

    pid_t child_ = -1;
    int end_ = -1;
    bool called_ = false;
    bool result_ = false;
};

// Another program beside the test. Its standard input and output are a socket to the test.
class Program {
public:
    // The path of the program and its arguments.
    explicit Program(std::vector<std::string> arguments);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    // Sends a byte and waits for one to come back; false when the program ends instead.
    [[nodiscard]] bool echoes();

    void endInput();

    // Ends its input and returns its exit status.
    int wait();

private:
    pid_t child_ = -1;
    int end_ = -1;
    int status_ = -1;
};

} // namespace InstallerCore::Testing
