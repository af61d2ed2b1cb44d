#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What a program left behind.
struct ToolRun {
    int status = -1;
    std::string output;
    std::string errors;
};

// Runs the program of that path to its end.
inline ToolRun runTool(const std::string& program, std::vector<std::string> arguments) {
    const TemporaryDirectory directory;
    const std::string output = directory / "output";
    const std::string errors = directory / "errors";
    arguments.insert(arguments.begin(), program);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
        ::dup2(::open(output.c_str(), flags, 0600), STDOUT_FILENO);
        ::dup2(::open(errors.c_str(), flags, 0600), STDERR_FILENO);
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    const int status = waitFor(child);
    return {.status = status, .output = readFile(output), .errors = readFile(errors)};
}

} // namespace InstallerCore::Testing
