#pragma once

#include "rehearsal/signing/BundleSigner.h"
#include "tests/integration/signatures/BlobDamages.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Signed sample applications: the one that is damaged, and others whose parts are put into it.
class SampleBundles {
public:
    enum class Size { small, full };

    // Small: one architecture, one code directory, nothing nested. Full: two architectures, directories with
    // SHA-1 and SHA-256, a framework, a helper and, where the volume keeps attributes, a signed script.
    explicit SampleBundles(Size size);

    [[nodiscard]] const std::filesystem::path& application() const noexcept { return application_; }

    [[nodiscard]] const std::vector<Donor>& donors() const noexcept { return donors_; }

    [[nodiscard]] const Rehearsal::SigningIdentity& stranger() const noexcept { return stranger_; }

    [[nodiscard]] bool hasScript() const noexcept { return hasScript_; }

    static constexpr const char* script = "Contents/Helpers/KavioScript";
    static constexpr const char* executable = "Contents/MacOS/Kavio";

private:
    std::filesystem::path make(const std::string& name, const std::string& version,
                               const std::string& identifier, const Rehearsal::SigningIdentity& identity);
    void addScript(const std::filesystem::path& bundle);

    Size size_;
    TemporaryDirectory directory_;
    Rehearsal::SigningIdentity stranger_;
    bool hasScript_ = false;
    std::vector<Donor> donors_;
    std::filesystem::path application_;
};

} // namespace InstallerCore::Testing
