#include "rehearsal/LoopbackListener.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace InstallerCore::Rehearsal {

namespace {

void check(bool done) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), "no port of the loopback interface");
    }
}

} // namespace

LoopbackListener::LoopbackListener(int backlog, std::uint16_t port)
    : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    check(socket_.get() >= 0);
    const int yes = 1; // for a port that was in use a moment ago
    check(::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    check(::bind(socket_.get(), generic, size) == 0);
    check(::listen(socket_.get(), backlog) == 0);
    check(::getsockname(socket_.get(), generic, &size) == 0);
    port_ = ntohs(address.sin_port);
}

} // namespace InstallerCore::Rehearsal
