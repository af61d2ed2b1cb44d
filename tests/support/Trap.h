#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

namespace InstallerCore::Testing {

enum class TrapKind { link, danglingLink, linkToDirectory, fifo, socket, directory };

inline constexpr TrapKind allTraps[] = {TrapKind::link, TrapKind::danglingLink, TrapKind::linkToDirectory,
                                        TrapKind::fifo, TrapKind::socket,       TrapKind::directory};

inline constexpr TrapKind allTrapLinks[] = {TrapKind::link, TrapKind::danglingLink,
                                            TrapKind::linkToDirectory};

inline std::string nameOf(TrapKind kind) {
    switch (kind) {
    case TrapKind::link:
        return "link to a file";
    case TrapKind::danglingLink:
        return "link to nothing";
    case TrapKind::linkToDirectory:
        return "link to a directory";
    case TrapKind::fifo:
        return "FIFO";
    case TrapKind::socket:
        return "socket";
    case TrapKind::directory:
        return "directory";
    }
    return {};
}

// An entry that somebody has planted where a regular file is expected, and what it leads to outside.
class Trap {
public:
    Trap(std::filesystem::path place, TrapKind kind) : place_(std::move(place)) {
        writeFile(target(), content);
        std::filesystem::permissions(target(), std::filesystem::perms{0644});
        std::filesystem::create_directory(folder());
        std::filesystem::permissions(folder(), std::filesystem::perms{0755});
        plant(kind);
        planted_ = identity();
    }

    Trap(const Trap&) = delete;
    Trap& operator=(const Trap&) = delete;

    ~Trap() {
        if (reader_ >= 0) {
            ::close(reader_);
        }
    }

    // The entry is still in its place, and nobody has come through it.
    void expectUntouched() const {
        EXPECT_EQ(identity(), planted_) << "the entry itself was replaced";
        expectOutsideUntouched();
        EXPECT_EQ(eventsOfFifo(), 0) << "somebody opened the FIFO";
    }

    // Nobody has come through the entry, wherever it is by now.
    void expectOutsideUntouched() const {
        EXPECT_EQ(readFile(target()), content);
        EXPECT_EQ(permissionsOf(target()), 0644U);
        EXPECT_FALSE(std::filesystem::exists(missing()));
        EXPECT_TRUE(std::filesystem::is_empty(folder()));
        EXPECT_EQ(permissionsOf(folder()), 0755U);
        EXPECT_EQ(eventsOfFifo() & POLLIN, 0) << "somebody wrote to the FIFO";
    }

    static constexpr const char* content = "precious";

private:
    [[nodiscard]] std::filesystem::path target() const { return outside_ / "target"; }

    [[nodiscard]] std::filesystem::path missing() const { return outside_ / "missing"; }

    [[nodiscard]] std::filesystem::path folder() const { return outside_ / "folder"; }

    void plant(TrapKind kind) {
        switch (kind) {
        case TrapKind::link:
            return std::filesystem::create_symlink(target(), place_);
        case TrapKind::danglingLink:
            return std::filesystem::create_symlink(missing(), place_);
        case TrapKind::linkToDirectory:
            return std::filesystem::create_symlink(folder(), place_);
        case TrapKind::fifo:
            return plantFifo();
        case TrapKind::socket:
            return plantSocket();
        case TrapKind::directory:
            std::filesystem::create_directory(place_);
            return;
        }
    }

    // With a reader at its other end, so that nobody who opens it for writing stays unseen.
    void plantFifo() {
        if (::mkfifo(place_.c_str(), 0600) != 0) {
            throw std::runtime_error("no FIFO");
        }
        reader_ = ::open(place_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }

    void plantSocket() {
        // Made under a short name, since the address of a socket is.
        const std::filesystem::path name = outside_ / "s";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(&address.sun_path[0], name.c_str(), sizeof(address.sun_path) - 1);
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int bound = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        ::close(socket);
        if (bound != 0) {
            throw std::runtime_error("no socket");
        }
        std::filesystem::rename(name, place_);
    }

    // A writer who has come and gone leaves an event as well.
    [[nodiscard]] int eventsOfFifo() const {
        pollfd state{.fd = reader_, .events = POLLIN, .revents = 0}; // a negative descriptor has no events
        return ::poll(&state, 1, 0) < 0 ? -1 : state.revents;
    }

    [[nodiscard]] std::pair<std::uint64_t, std::uint32_t> identity() const {
        struct stat status{};
        return ::lstat(place_.c_str(), &status) == 0 ? std::pair(std::uint64_t{status.st_ino}, status.st_mode)
                                                     : std::pair(std::uint64_t{0}, std::uint32_t{0});
    }

    std::filesystem::path place_;
    TemporaryDirectory outside_;
    int reader_ = -1;
    std::pair<std::uint64_t, std::uint32_t> planted_;
};

} // namespace InstallerCore::Testing
