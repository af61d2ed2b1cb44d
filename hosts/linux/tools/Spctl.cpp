// The execution policy tool: spctl --assess --type execute APPLICATION
//
// Status 0: the application may be opened. 3: it may not, one line on standard error says why. 2: another
// command line.
#include "hosts/linux/codesign/ExecutionPolicy.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 3> options{"--assess", "--type", "execute"};
constexpr int refused = 3;
constexpr int badUsage = 2;

// An input of the build, like the roots.
constexpr auto ticket = SPCTL_REQUIRES_TICKET ? InstallerCore::CodeSign::StapledTicket::required
                                              : InstallerCore::CodeSign::StapledTicket::notAsked;

} // namespace

int main(int count, char* values[]) {
    const std::span<char*> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() != options.size() + 2 ||
        !std::equal(options.begin(), options.end(), arguments.begin() + 1)) {
        std::cerr << "usage: spctl --assess --type execute APPLICATION\n";
        return badUsage;
    }
    const char* const application = arguments.back();
    try {
        InstallerCore::CodeSign::assessExecution(
            application, ticket, InstallerCore::CodeSign::TrustRoots::ofBuild(), std::time(nullptr));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << std::string(application) + ": rejected: " + error.what() + "\n";
        return refused;
    }
}
