#pragma once

#include "hosts/linux/codesign/ExecutionPolicy.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

// Programs of other makers, for whom Apple's roots vouch. What tests expect of them was found with the
// openssl program and general readers of the formats, not with the verifier.
namespace InstallerCore::Testing {

[[nodiscard]] inline std::vector<CodeSign::VerifiedSlice>
verifyReal(const std::filesystem::path& path, const CodeSign::Requirement* requirement = nullptr) {
    return verifyStatic(path, requirement, CodeSign::TrustRoots::apple(), std::time(nullptr));
}

// Empty when it is valid.
[[nodiscard]] inline std::string refusalOfReal(const std::filesystem::path& path,
                                               const CodeSign::Requirement* requirement = nullptr) {
    return refusalOf([&] { return verifyReal(path, requirement); });
}

// Empty when the execution policy, without the question for a ticket, lets a user open it.
[[nodiscard]] inline std::string policyRefusalOfReal(const std::filesystem::path& path) {
    return refusalOf([&path] {
        assessExecution(path, CodeSign::StapledTicket::notAsked, CodeSign::TrustRoots::apple(),
                        std::time(nullptr));
        return 0;
    });
}

// The requirement that the installer makes.
[[nodiscard]] inline std::string installersRequirement(const std::string& identifier,
                                                       const std::string& team) {
    return "anchor apple generic and identifier \"" + identifier +
           "\" and certificate leaf[subject.OU] = \"" + team + "\"";
}

} // namespace InstallerCore::Testing
