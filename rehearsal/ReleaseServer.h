#pragma once

#include "rehearsal/CertificateAuthority.h"
#include "rehearsal/LoopbackListener.h"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// A release channel on this machine: nginx, as Debian packages it, behind TLS on a port of the loopback
// interface. Runs while the object lives, and no longer than the thread that made it. Needs no privilege.
// Every failure is a std::runtime_error that says what nginx said.
class ReleaseServer {
public:
    struct Options {
        // Exists; for the server's own files. One of them, traffic.log, gets a line for each answer when that
        // ends: the path, the status, and how many bytes of a body were sent.
        std::filesystem::path directory;
        std::filesystem::path documentRoot; // what is served; its files may change meanwhile
        ServerCertificate certificate;
        bool http2 = true;
        std::string locations;  // more directives for the server, in nginx's language
        std::uint16_t port = 0; // 0: any that is free
    };

    // Connections are accepted from here on.
    explicit ReleaseServer(const Options& options);
    ReleaseServer(const ReleaseServer&) = delete;
    ReleaseServer& operator=(const ReleaseServer&) = delete;
    ~ReleaseServer();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

    // Ends the server and returns its requests, one text each: the request line, the status, and the values
    // of Range and If-Range in brackets, as in:  GET /a.dmg HTTP/2.0 206 [bytes=5-] ["tag"]
    [[nodiscard]] std::vector<std::string> stop();

private:
    void end() noexcept;

    std::filesystem::path directory_;
    LoopbackListener listener_;
    std::uint16_t port_;
    pid_t process_ = -1;
};

} // namespace InstallerCore::Rehearsal
