#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Processes.h"
#include "hosts/contract/Contract.h"

namespace InstallerCore::HostContract {

void checkCodeSigning(Contract& contract) {
    const Platform& platform = contract.platform();
    const CodeSigning& signing = platform.codeSigning;
    const std::string& requirement = contract.surroundings().requirement;
    const std::filesystem::path& original = contract.surroundings().application;
    const auto meets = [&](const std::filesystem::path& bundle, const std::string& text) {
        const auto code = signing.staticCode(bundle);
        const auto condition = signing.requirement(text);
        return code != nullptr && condition != nullptr && code->isValid(*condition);
    };
    contract.that("a requirement compiles", signing.requirement("anchor apple") != nullptr);
    contract.that("nonsense does not", signing.requirement("anchor pear and") == nullptr);
    contract.that("nor does nothing", signing.requirement("") == nullptr);
    contract.that("nor what is not UTF-8", signing.requirement("identifier \"\xFF\"") == nullptr);
    contract.that("what is not there is no code", signing.staticCode("/missing.app") == nullptr);
    contract.that("the application is valid", meets(original, requirement));
    contract.that("it is not another", !meets(original, R"(identifier "dev.kavio.no-such-application")"));
    contract.that(
        "it is no developer's",
        !meets(original, R"(anchor apple generic and certificate leaf[subject.OU] = "ABCDE12345")"));

    const TemporaryFolder folder;
    const auto copy = folder.path() / original.filename();
    const ProcessResult copied =
        platform.processes.run(platform.paths.ditto, {"--rsrc", "--extattr", "--acl", original, copy},
                               Processes::ErrorOutput::inherited);
    contract.that("ditto copies it", copied.status == 0);
    const auto code = signing.staticCode(copy);
    const auto condition = signing.requirement(requirement);
    contract.that("the copy is valid", code && condition && code->isValid(*condition));
    // Rules may leave out what is changed, but never what is added here.
    platform.files.openDirectory(copy / "Contents" / "Resources")->replace("added", asBytes("added"));
    contract.that("it is no longer when a file was added", code && condition && !code->isValid(*condition));
    contract.that("nor as other code of the same place", !meets(copy, requirement));
}

} // namespace InstallerCore::HostContract
