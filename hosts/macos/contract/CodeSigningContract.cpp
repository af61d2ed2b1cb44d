#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Processes.h"
#include "hosts/macos/contract/Contract.h"

namespace InstallerCore::MacContract {

void checkCodeSigning(Contract& contract) {
    const Platform& platform = contract.platform();
    const CodeSigning& signing = platform.codeSigning;
    const std::filesystem::path original = "/System/Applications/TextEdit.app";
    const auto meets = [&](const std::filesystem::path& bundle, const std::string& text) {
        const auto code = signing.staticCode(bundle);
        const auto requirement = signing.requirement(text);
        return code != nullptr && requirement != nullptr && code->isValid(*requirement);
    };
    contract.that("a requirement compiles", signing.requirement("anchor apple") != nullptr);
    contract.that("nonsense does not", signing.requirement("anchor pear and") == nullptr);
    contract.that("nor does nothing", signing.requirement("") == nullptr);
    contract.that("what is not there is no code", signing.staticCode("/missing.app") == nullptr);
    contract.that("Apple's application is valid", meets(original, "anchor apple"));
    contract.that("its identifier is known",
                  meets(original, R"(anchor apple and identifier "com.apple.TextEdit")"));
    contract.that("another's is not its own", !meets(original, R"(identifier "com.apple.Preview")"));
    contract.that(
        "it is no developer's",
        !meets(original, R"(anchor apple generic and certificate leaf[subject.OU] = "ABCDE12345")"));

    const TemporaryFolder folder;
    const auto copy = folder.path() / "TextEdit.app";
    const ProcessResult copied =
        platform.processes.run(platform.paths.ditto, {original, copy}, Processes::ErrorOutput::inherited);
    contract.that("ditto copies it", copied.status == 0);
    contract.that("the copy is valid", meets(copy, "anchor apple"));
    platform.files.openDirectory(copy / "Contents")->replace("PkgInfo", asBytes("APPL!!!!"));
    contract.that("a damaged copy is not", !meets(copy, "anchor apple"));
}

} // namespace InstallerCore::MacContract
