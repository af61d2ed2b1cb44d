#pragma once

#include <unistd.h>

#include <utility>

namespace InstallerCore {

// Owns a file descriptor; -1 is none.
class Descriptor {
public:
    Descriptor() noexcept = default;

    explicit Descriptor(int fd) noexcept : fd_(fd) {}

    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}

    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    [[nodiscard]] int get() const noexcept { return fd_; }

    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

} // namespace InstallerCore
