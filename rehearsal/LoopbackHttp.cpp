#include "rehearsal/LoopbackHttp.h"

#include "hosts/linux/CurlHandles.h"

#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

CurlList routesTo(const std::vector<std::string>& hosts, std::uint16_t port) {
    CurlList routes;
    for (const std::string& host : hosts) {
        append(routes, host + "::127.0.0.1:" + std::to_string(port)); // from whatever port
    }
    return routes;
}

} // namespace

LoopbackHttp::LoopbackHttp(const std::vector<std::string>& hosts, std::uint16_t port,
                           std::filesystem::path authority, HttpTimeouts timeouts)
    : HttpCurl(timeouts), routes_(routesTo(hosts, port)), authority_(std::move(authority)) {}

void LoopbackHttp::configure(CURL* handle) const {
    setOption(handle, CURLOPT_CONNECT_TO, routes_.get());
    setOption(handle, CURLOPT_CAINFO, authority_.c_str());
    setOption(handle, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    setOption(handle, CURLOPT_PROXY, "");
}

Platform over(Http& http, const Platform& host) {
    return over(http, host.system, host);
}

Platform over(Http& http, SystemInfo& system, const Platform& host) {
    return {.http = http,
            .files = host.files,
            .digests = host.digests,
            .clock = host.clock,
            .system = system,
            .log = host.log,
            .folders = host.folders,
            .processes = host.processes,
            .propertyLists = host.propertyLists,
            .codeSigning = host.codeSigning,
            .workspace = host.workspace,
            .languages = host.languages,
            .resources = host.resources,
            .paths = host.paths};
}

} // namespace InstallerCore::Rehearsal
