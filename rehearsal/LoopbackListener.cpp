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

LoopbackListener::LoopbackListener(int backlog) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    check(socket_.get() >= 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    check(::bind(socket_.get(), generic, size) == 0);
    check(::listen(socket_.get(), backlog) == 0);
    check(::getsockname(socket_.get(), generic, &size) == 0);
    port_ = ntohs(address.sin_port);
}

} // namespace InstallerCore::Rehearsal
