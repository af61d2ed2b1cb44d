#include "tests/integration/ScriptedReleaseFixture.h"

namespace InstallerCore::Testing {

ScriptedReleaseFixture::ScriptedReleaseFixture() {
    serveFrom(server.port());
}

std::string ScriptedReleaseFixture::partialHeader(std::size_t offset, const std::string& more) const {
    const std::size_t size = content().size();
    return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(offset) + "-" +
           std::to_string(size - 1) + "/" + std::to_string(size) +
           "\r\nContent-Length: " + std::to_string(size - offset) + "\r\n" + more + "\r\n";
}

std::string ScriptedReleaseFixture::partialResponse(std::size_t offset, const std::string& more) const {
    return partialHeader(offset, more) + part(offset);
}

std::string ScriptedReleaseFixture::wholeHeader(const std::string& more) const {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(content().size()) + "\r\n" + more + "\r\n";
}

std::string ScriptedReleaseFixture::wholeResponse(const std::string& more) const {
    return wholeHeader(more) + content();
}

void ScriptedReleaseFixture::expect(std::vector<std::string> lines, std::vector<std::string> absent,
                                    std::string answer) {
    server.expect({.lines = std::move(lines),
                   .absent = std::move(absent),
                   .answer = [answer = std::move(answer)](ScriptedPeer& peer) { peer.send(answer); }});
}

} // namespace InstallerCore::Testing
