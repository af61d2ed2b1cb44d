#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace InstallerCore::Testing {

// A FIFO between the test and processes that are not its children.
class Fifo {
public:
    Fifo() {
        if (::mkfifo(path().c_str(), 0600) != 0) {
            throw std::runtime_error("no FIFO");
        }
        end_ = ::open(path().c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK); // so no open waits for a peer
    }

    Fifo(const Fifo&) = delete;
    Fifo& operator=(const Fifo&) = delete;

    ~Fifo() { ::close(end_); }

    [[nodiscard]] std::string path() const { return folder_ / "fifo"; }

    // The next line that somebody writes; empty, and a failure, when nobody does for a minute.
    [[nodiscard]] std::string line() const {
        constexpr int minute = 60'000;
        std::string text;
        while (!text.ends_with('\n')) {
            pollfd waiting{.fd = end_, .events = POLLIN, .revents = 0};
            char byte = 0;
            if (::poll(&waiting, 1, minute) <= 0 || ::read(end_, &byte, 1) != 1) {
                ADD_FAILURE() << "nothing comes";
                return {};
            }
            text += byte;
        }
        return text.substr(0, text.size() - 1);
    }

    void send(const std::string& line) const {
        EXPECT_EQ(::write(end_, (line + "\n").data(), line.size() + 1),
                  static_cast<ssize_t>(line.size() + 1));
    }

private:
    TemporaryDirectory folder_;
    int end_ = -1;
};

} // namespace InstallerCore::Testing
