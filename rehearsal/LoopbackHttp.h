#pragma once

#include "InstallerCore/platform/Platform.h"
#include "hosts/linux/CurlHandles.h"
#include "hosts/linux/HttpCurl.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// The network of a rehearsal: the transport of the product, except that the given hosts are found at a port
// of this machine and that the certificates of one authority count in place of the system's. The checks
// themselves stay as they are. Uses no proxy. Must outlive its tasks.
class LoopbackHttp final : public HttpCurl {
public:
    // The authority is a PEM file.
    LoopbackHttp(const std::vector<std::string>& hosts, std::uint16_t port, std::filesystem::path authority,
                 HttpTimeouts timeouts = {});

private:
    void configure(CURL* handle) const override;

    CurlList routes_;
    std::filesystem::path authority_;
};

// The same services but for the network, and, of the second, what is said of the machine.
[[nodiscard]] Platform over(Http& http, const Platform& host);
[[nodiscard]] Platform over(Http& http, SystemInfo& system, const Platform& host);

} // namespace InstallerCore::Rehearsal
