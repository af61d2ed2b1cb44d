#include "tests/integration/signatures/DamageFixture.h"

#include "rehearsal/signing/MachOSigner.h"

#include <algorithm>

namespace InstallerCore::Testing {

std::vector<std::string> executablesIn(const std::filesystem::path& bundle) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(bundle)) {
        if (!entry.is_symlink() && entry.is_regular_file() && Rehearsal::isMachO(entry.path())) {
            names.push_back(entry.path().lexically_relative(bundle).string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

CodeSign::Requirement requirementFor(const std::string& identifier, const std::string& team) {
    return CodeSign::Requirement::compile("anchor apple generic and identifier \"" + identifier +
                                          "\" and certificate leaf[subject.OU] = \"" + team + "\"")
        .value();
}

} // namespace InstallerCore::Testing
