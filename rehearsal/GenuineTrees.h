#pragma once

#include "InstallerCore/platform/CodeSigning.h"

#include <set>
#include <string>

namespace InstallerCore::Rehearsal {

// Stands for the signatures of a rehearsal's or a test's own applications: exactly the trees with these
// digests (see TreeDigest.h) count as signed by whoever is asked for. Every byte is looked at, each time.
class GenuineTrees final : public CodeSigning {
public:
    explicit GenuineTrees(std::set<std::string> digests) : digests_(std::move(digests)) {}

    [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const std::filesystem::path& bundle) const override;
    [[nodiscard]] std::unique_ptr<SigningRequirement> requirement(const std::string& text) const override;

private:
    std::set<std::string> digests_;
};

} // namespace InstallerCore::Rehearsal
