// The copy tool: ditto --rsrc --extattr --acl SOURCE DESTINATION
//
// Status 0: all is copied. 1: something is not, one line on standard error says what and why; what was copied
// by then stays. 64: another command line.
#include "hosts/linux/copy/CopyTree.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 3> options{"--rsrc", "--extattr", "--acl"};
constexpr int badUsage = 64;

void say(const std::string& line) {
    std::cerr << "ditto: " + line + "\n";
}

} // namespace

int main(int count, char* values[]) {
    const std::span<char*> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() != options.size() + 3 ||
        !std::equal(options.begin(), options.end(), arguments.begin() + 1)) {
        say("usage: ditto --rsrc --extattr --acl SOURCE DESTINATION");
        return badUsage;
    }
    ::umask(S_IRWXG | S_IRWXO);
    try {
        InstallerCore::copyTree(arguments[4], arguments[5], say);
        return 0;
    } catch (const std::exception& error) {
        say(error.what());
        return 1;
    }
}
