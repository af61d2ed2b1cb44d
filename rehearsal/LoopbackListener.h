#pragma once

#include "hosts/posix/Descriptor.h"

#include <cstdint>

namespace InstallerCore::Rehearsal {

// A listening socket on a port of the loopback interface, by default a free one. From here on the kernel
// accepts connections, as many as the backlog says, whether or not anybody answers them. Throws
// std::system_error.
class LoopbackListener {
public:
    static constexpr int usualBacklog = 128;

    explicit LoopbackListener(int backlog = usualBacklog, std::uint16_t port = 0);

    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

    // Refuses whatever comes from here on, unless another process has taken the socket over.
    void close() noexcept { socket_ = Descriptor(); }

private:
    Descriptor socket_;
    std::uint16_t port_ = 0;
};

} // namespace InstallerCore::Rehearsal
