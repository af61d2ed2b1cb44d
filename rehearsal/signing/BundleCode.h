#pragma once

#include "rehearsal/signing/SealRules.h"

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// Where a bundle, or one version of a framework, keeps what makes it code.
struct BundleCode {
    std::filesystem::path base; // what seals refer to: Contents, Versions/X or the bundle itself
    std::filesystem::path informationList;
    std::filesystem::path executable;
    std::string identifier;
    SealLayout layout;
};

// One for a bundle; for a framework with versions one for each, the current one first. Throws
// std::runtime_error for what is no bundle, or the PlatformError of a property list that cannot be read.
[[nodiscard]] std::vector<BundleCode> codeOfBundle(const std::filesystem::path& bundle);

// What lies in a bundle and is to be sealed.
struct SealEntry {
    enum class Kind { file, link, nestedCode };

    std::string path; // below the base
    Kind kind;
    bool optional;
    bool older; // also in the seal's older half
    bool newer; // in the newer half
};

// By the usual rules, in the order of the paths. Nested code is not looked into.
[[nodiscard]] std::vector<SealEntry> entriesOf(const BundleCode& code);

} // namespace InstallerCore::Rehearsal
