// For release engineers and tests: codesign-verify [--roots apple|FILE] [--requirement TEXT] PATH...
//
// Each path is a bundle or an executable. Status 0: each is validly signed and meets the requirement, if one
// is given. 1: at least one is not, one line on standard error for each says where and why. 2: another
// command line, roots that cannot be read, or a requirement that does not compile.
//
// Without --roots, what the build was told to trust. A PEM file, or Apple's three roots by their digests.
#include "hosts/linux/codesign/Requirement.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using InstallerCore::CodeSign::Requirement;
using InstallerCore::CodeSign::TrustRoots;

constexpr int invalid = 1;
constexpr int badUsage = 2;

struct Usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct CommandLine {
    TrustRoots roots = TrustRoots::ofBuild();
    std::optional<Requirement> requirement;
    std::vector<std::string> paths;
};

TrustRoots rootsFrom(const std::string& name) {
    if (name == "apple") {
        return TrustRoots::apple();
    }
    std::ifstream stream(name, std::ios::binary);
    const std::string pem{std::istreambuf_iterator<char>(stream), {}};
    try {
        return TrustRoots::fromPem(pem);
    } catch (const std::exception& error) {
        throw Usage(name + ": " + error.what());
    }
}

CommandLine parse(std::span<char*> arguments) {
    CommandLine result;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string argument = arguments[index];
        const bool isOption = argument == "--roots" || argument == "--requirement";
        if (isOption && index + 1 == arguments.size()) {
            throw Usage(argument + " needs a value");
        }
        if (argument == "--roots") {
            result.roots = rootsFrom(arguments[++index]);
        } else if (argument == "--requirement") {
            result.requirement = Requirement::compile(arguments[++index]);
            if (!result.requirement) {
                throw Usage("the requirement does not compile");
            }
        } else if (argument.starts_with("--")) {
            throw Usage("there is no option " + argument);
        } else {
            result.paths.push_back(argument);
        }
    }
    if (result.paths.empty()) {
        throw Usage("usage: codesign-verify [--roots apple|FILE] [--requirement TEXT] PATH...");
    }
    return result;
}

bool isValid(const std::string& path, const CommandLine& commandLine) {
    const Requirement* const requirement = commandLine.requirement ? &*commandLine.requirement : nullptr;
    try {
        static_cast<void>(
            InstallerCore::CodeSign::verifyStatic(path, requirement, commandLine.roots, std::time(nullptr)));
        return true;
    } catch (const std::exception& error) {
        std::cerr << path + ": " + error.what() + "\n";
        return false;
    }
}

} // namespace

int main(int count, char* values[]) {
    try {
        const CommandLine commandLine =
            parse(std::span<char*>(values, static_cast<std::size_t>(count)).subspan(1));
        bool allValid = true;
        for (const std::string& path : commandLine.paths) {
            allValid = isValid(path, commandLine) && allValid;
        }
        return allValid ? 0 : invalid;
    } catch (const std::exception& error) {
        std::cerr << std::string("codesign-verify: ") + error.what() + "\n";
        return badUsage;
    }
}
