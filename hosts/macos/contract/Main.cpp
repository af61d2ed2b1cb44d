// Runs the services of a Mac through what their interfaces promise. With the address of a file on a server,
// that is fetched as well, and another address is to redirect. Usage:
// mac-contract [HTTPS-FILE [HTTPS-REDIRECT]]
#include "hosts/contract/Contract.h"
#include "hosts/macos/MacHost.h"

#include <sys/sysctl.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

using namespace InstallerCore;

// This slice is for Apple silicon, or is translated for it.
bool runsOnArm64() {
#ifdef __arm64__
    return true;
#else
    std::int32_t translated = 0;
    std::size_t size = sizeof translated;
    return ::sysctlbyname("sysctl.proc_translated", &translated, &size, nullptr, 0) == 0 && translated == 1;
#endif
}

// As a login has set it.
std::filesystem::path home() {
    const char* const path = std::getenv("HOME");
    return path == nullptr ? "" : path;
}

int check(int argumentCount, char** arguments) {
    using namespace HostContract;
    const MacHost host;
    HttpUrlSession impatient({.idle = std::chrono::seconds(2), .whole = std::chrono::seconds(20)});
    Contract contract(host.platform(), {.home = home(),
                                        .hasArm64 = runsOnArm64(),
                                        .runningApplication = "com.apple.finder",
                                        .application = "/System/Applications/TextEdit.app",
                                        .requirement = R"(anchor apple and identifier "com.apple.TextEdit")",
                                        .impatient = impatient});
    contract.part("Processes", checkProcesses); // first: no other thread runs yet
    contract.part("Detached processes", checkDetachedProcesses);
    contract.part("Files", checkFiles);
    contract.part("Folders", checkFolders);
    contract.part("Property lists", checkPropertyLists);
    contract.part("Digests", checkDigests);
    contract.part("Languages", checkLanguages);
    contract.part("System and log", checkSystem);
    contract.part("Resources", checkResources);
    contract.part("Workspace", checkWorkspace);
    contract.part("Code signing", checkCodeSigning);
    contract.part("HTTP, on this machine", checkHttp);
    if (argumentCount > 1) {
        contract.part(arguments[1], [&](Contract& part) { checkDownload(part, arguments[1]); });
    }
    if (argumentCount > 2) {
        contract.part(arguments[2], [&](Contract& part) { checkRedirect(part, arguments[2]); });
    }
    std::printf("\n%zu failed\n", contract.failures().size());
    return contract.failures().empty() ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        return check(argumentCount, arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "No host: %s\n", error.what());
        return 1;
    }
}
