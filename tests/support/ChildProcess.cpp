#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("cannot wait for the child");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string outputOf(const std::string& command) {
    std::FILE* const stream = ::popen(command.c_str(), "r");
    if (stream == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string result;
    std::array<char, 4096> piece{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), stream)) {
        result.append(piece.data(), count);
    }
    EXPECT_EQ(::pclose(stream), 0) << command;
    return result;
}

void runInChild(const std::function<void()>& call) {
    constexpr int skipped = 77;
    std::fflush(nullptr);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        try {
            call();
        } catch (const std::exception& error) {
            ADD_FAILURE() << "an exception ended the child: " << error.what();
        }
        const int status = testing::Test::HasFailure() ? 1 : testing::Test::IsSkipped() ? skipped : 0;
        std::fflush(nullptr);
        ::_exit(status);
    }
    const int status = waitFor(child);
    if (status == skipped) {
        GTEST_SKIP() << "the child has said why";
    }
    EXPECT_EQ(status, 0) << "the child failed";
}

void dropPrivileges() {
    constexpr unsigned nobody = 65'534;
    if (::geteuid() != 0) {
        return;
    }
    if (::setgroups(0, nullptr) != 0 || ::setresgid(nobody, nobody, nobody) != 0 ||
        ::setresuid(nobody, nobody, nobody) != 0) {
        throw std::runtime_error("cannot drop privileges");
    }
}

bool mountVolume(const std::filesystem::path& directory, const std::string& options) {
    const std::string user = "0 " + std::to_string(::getuid()) + " 1";
    const std::string group = "0 " + std::to_string(::getgid()) + " 1";
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user;
        std::ofstream("/proc/self/gid_map") << group;
    }
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("tmpfs", directory.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

WaitingChild::WaitingChild(const std::function<bool()>& call) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("no socket pair");
    }
    std::fflush(nullptr);
    child_ = ::fork();
    if (child_ == 0) {
        ::close(ends[0]);
        live(ends[1], call);
    }
    end_ = ends[0];
    ::close(ends[1]);
    char answer = 0;
    called_ = ::read(end_, &answer, 1) == 1;
    result_ = answer == 'y';
}

WaitingChild::~WaitingChild() {
    kill();
}

bool WaitingChild::result() const {
    EXPECT_TRUE(called_) << "the child ended in its call";
    return result_;
}

void WaitingChild::kill() {
    if (child_ > 0) {
        ::kill(child_, SIGKILL);
        static_cast<void>(waitFor(child_));
        ::close(end_);
        child_ = -1;
    }
}

void WaitingChild::live(int end, const std::function<bool()>& call) {
    try {
        char byte = call() ? 'y' : 'n';
        if (::write(end, &byte, 1) == 1) {
            static_cast<void>(::read(end, &byte, 1) == 1); // returns when the parent has gone
        }
    } catch (...) {
        std::fputs("an exception ended the child\n", stderr);
    }
    ::_exit(1);
}

Program::Program(std::vector<std::string> arguments) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("no socket pair");
    }
    end_ = ends[0];
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const int error = ::posix_spawn(&child_, pointers.front(), &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (error != 0) {
        ::close(end_);
        throw std::runtime_error("cannot start " + arguments.front());
    }
}

Program::~Program() {
    static_cast<void>(wait());
}

bool Program::echoes() {
    char byte = 'x';
    return ::send(end_, &byte, 1, MSG_NOSIGNAL) == 1 && ::read(end_, &byte, 1) == 1;
}

void Program::endInput() {
    ::shutdown(end_, SHUT_WR);
}

int Program::wait() {
    if (child_ > 0) {
        ::close(end_);
        status_ = waitFor(child_);
        child_ = -1;
    }
    return status_;
}

} // namespace InstallerCore::Testing
