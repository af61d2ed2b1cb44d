#pragma once

#include "tests/integration/ReleaseFixture.h"
#include "tests/support/ScriptedServer.h"

#include <string>
#include <vector>

namespace InstallerCore::Testing {

// A release behind a server that plays scripts.
class ScriptedReleaseFixture : public ReleaseFixture {
public:
    ScriptedReleaseFixture();

    // A 206 for the bytes from the offset on; header lines end in CR LF.
    [[nodiscard]] std::string partialHeader(std::size_t offset, const std::string& more = "") const;
    [[nodiscard]] std::string partialResponse(std::size_t offset, const std::string& more = "") const;

    // A 200 for the whole image.
    [[nodiscard]] std::string wholeHeader(const std::string& more = "ETag: \"v1\"\r\n") const;
    [[nodiscard]] std::string wholeResponse(const std::string& more = "ETag: \"v1\"\r\n") const;

    // The next request must hold the lines and not the headers, and gets the answer.
    void expect(std::vector<std::string> lines, std::vector<std::string> absent, std::string answer);

    static constexpr const char* paused = "Download paused. Open the installer again to resume.";

    ScriptedServer server{{.certificate = authority.issue(config.allowedHosts)}};
};

} // namespace InstallerCore::Testing
