// Makes the identity that sample releases are signed with, unless the directory holds a good one.
// Usage: make-signing-identity DIRECTORY
#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::chrono::days leastValidity{30};

bool hasGoodIdentity(const std::filesystem::path& directory) {
    try {
        const SigningIdentity identity = SigningIdentity::load(directory);
        std::ifstream stream(directory / "root.pem", std::ios::binary);
        const std::string root{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        return root == identity.rootPem() && identity.isValidFor(leastValidity) &&
               identity.team() == Config::decode(BuildConfig::json()).macTeamID;
    } catch (const std::exception&) {
        return false; // none, or one that no longer serves
    }
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    using namespace InstallerCore::Rehearsal;
    try {
        if (count != 2) {
            std::cerr << "usage: make-signing-identity DIRECTORY\n";
            return 2;
        }
        if (!hasGoodIdentity(arguments[1])) {
            SigningIdentity::make().saveTo(arguments[1]);
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "make-signing-identity: " << error.what() << '\n';
        return 1;
    }
}
