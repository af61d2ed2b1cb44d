#include "hosts/contract/Contract.h"

#include "hosts/linux/LinuxHost.h"
#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/BundleSigner.h"
#include "tests/hosts/contract/LyingServices.h"
#include "tests/support/EnvironmentVariable.h"
#include "tests/support/FakeWorkspace.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TestPlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Each part holds of true services, and tells which promise a lying one breaks.
namespace InstallerCore::HostContract {

namespace {

using Errors = Processes::ErrorOutput;
using Failures = std::vector<std::string>;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ContractTest : public testing::Test {
protected:
    using Part = void (*)(Contract&);

    ContractTest() { realWorkspace.running = {"dev.kavio.running"}; }

    // What does not hold of the services below.
    [[nodiscard]] Failures failures(Part part) {
        SystemPaths paths;
        paths.ditto = DITTO_PROGRAM;
        const Platform platform{.http = real.http,
                                .files = *files,
                                .digests = *digests,
                                .clock = real.clock,
                                .system = *system,
                                .log = log,
                                .folders = *folders,
                                .processes = *processes,
                                .propertyLists = *propertyLists,
                                .codeSigning = *codeSigning,
                                .workspace = *workspace,
                                .languages = *languages,
                                .resources = *resources,
                                .paths = paths};
        Contract contract(platform, {.home = home.path(),
                                     .hasArm64 = real.system.hasArm64(),
                                     .runningApplication = "dev.kavio.running",
                                     .application = home / "Kavio.app",
                                     .requirement = R"(identifier "dev.kavio.sample")",
                                     .impatient = real.http});
        contract.part("Part", part);
        return contract.failures();
    }

    const Testing::EnvironmentVariable language{"LC_ALL", "pt_BR.UTF-8"};
    Testing::TemporaryDirectory home;
    LinuxHost host{home.path(), KAVIO_CONTRACT_RESOURCES};
    const Platform& real = host.platform();
    Testing::RecordingLog log;
    Testing::FakeWorkspace realWorkspace;
    const CodeSign::TrustRoots roots = CodeSign::TrustRoots::apple();
    CodeSigningLinux realCodeSigning{roots, real.clock, log};

    // A test puts a liar in the place of one.
    Files* files = &real.files;
    Folders* folders = &real.folders;
    Processes* processes = &real.processes;
    Digests* digests = &real.digests;
    SystemInfo* system = &real.system;
    const PropertyLists* propertyLists = &real.propertyLists;
    const CodeSigning* codeSigning = &realCodeSigning;
    const Workspace* workspace = &realWorkspace;
    const Languages* languages = &real.languages;
    const Resources* resources = &real.resources;
};

TEST_F(ContractTest, Files) {
    EXPECT_THAT(failures(checkFiles), IsEmpty());
    FilesPosix elsewhere("/");
    files = &elsewhere;
    EXPECT_THAT(failures(checkFiles), ElementsAre("the home directory is the user's"));
}

TEST_F(ContractTest, PartThatEndsEarlyFails) {
    Testing::FaultyFiles faulty(real.files);
    faulty.failAt("Directory.replace", 2, FileErrorCode::writeOutOfSpace);
    files = &faulty;
    EXPECT_THAT(failures(checkFiles), ElementsAre(testing::StartsWith("no exception: ")));
}

TEST_F(ContractTest, Folders) {
    EXPECT_THAT(failures(checkFolders), IsEmpty());
    Testing::StingyFolders stingy;
    folders = &stingy;
    EXPECT_THAT(failures(checkFolders), ElementsAre("the space of a volume is about what df says"));
}

TEST_F(ContractTest, Processes) {
    EXPECT_THAT(failures(checkProcesses), IsEmpty());
    Testing::LyingProcesses liar(real.processes);
    processes = &liar;
    EXPECT_THAT(failures(checkProcesses), IsEmpty()) << "it does not lie yet";
    liar.identifier = 1;
    EXPECT_THAT(failures(checkProcesses), ElementsAre("this process has its own identifier"));
}

TEST_F(ContractTest, ProcessesWithOneWayOfErrorsOnly) {
    for (const auto only : {Errors::inherited, Errors::discarded}) {
        Testing::LyingProcesses liar(real.processes);
        liar.onRun = [&](const auto& program, const auto& arguments, Errors) {
            return real.processes.run(program, arguments, only);
        };
        processes = &liar;
        EXPECT_THAT(failures(checkProcesses), ElementsAre("standard error is inherited or closed off"));
    }
}

TEST_F(ContractTest, ProcessesThatWithholdOrGiveStreams) {
    struct Lie {
        const char* prefix; // of what the shell runs
        const char* failure;
    };

    for (const Lie& lie : {Lie{"exec </dev/null; ", "standard input is inherited"},
                           Lie{"exec </dev/null; ", "a closed input stays closed"},
                           Lie{"exec 2>&-; ", "closed off, it can be written to"},
                           Lie{"exec >/dev/null; ", "with a closed output, too, the output comes"},
                           Lie{"exec >/dev/null; ", "status and output come back"}}) {
        Testing::LyingProcesses liar(real.processes);
        liar.onRun = [&](const auto& program, auto arguments, Errors errors) {
            if (arguments.size() == 2) {
                arguments[1] = lie.prefix + arguments[1];
            }
            return real.processes.run(program, arguments, errors);
        };
        processes = &liar;
        EXPECT_THAT(failures(checkProcesses), Contains(lie.failure)) << lie.prefix;
    }
}

TEST_F(ContractTest, DetachedProcesses) {
    EXPECT_THAT(failures(checkDetachedProcesses), IsEmpty());
}

// Each lie is a process that the shell starts with some of its own state.
TEST_F(ContractTest, DetachedProcessesThatKeepSomethingOfOurs) {
    struct Lie {
        const char* script; // runs the real one
        const char* failure;
    };

    for (const Lie& lie : {Lie{R"(cd /tmp; exec "$@")", "in the root directory"},
                           Lie{R"("$@" & exit 0)", "in a session of its own"},
                           Lie{R"(exec "$@" >&-)", "its output goes nowhere"},
                           Lie{R"(exec "$@" 9>/dev/null)", "it reads nothing and inherits nothing else"},
                           Lie{R"(echo ours | "$@")", "it reads nothing and inherits nothing else"}}) {
        Testing::LyingProcesses liar(real.processes);
        liar.onStart = [&](const std::string& program, std::vector<std::string> arguments) {
            arguments.back() = "9"; // which is free
            arguments.insert(arguments.begin(), {"-c", lie.script, "sh", program});
            real.processes.startDetached("/bin/sh", arguments);
        };
        processes = &liar;
        EXPECT_THAT(failures(checkDetachedProcesses), Contains(lie.failure)) << lie.script;
    }
}

TEST_F(ContractTest, PropertyLists) {
    EXPECT_THAT(failures(checkPropertyLists), IsEmpty());
    const Testing::MiscountingPropertyLists liar(real.propertyLists);
    propertyLists = &liar;
    EXPECT_THAT(failures(checkPropertyLists), ElementsAre("XML: number", "XML: nothing else"));
}

TEST_F(ContractTest, Digests) {
    EXPECT_THAT(failures(checkDigests), IsEmpty());
    Testing::ForgetfulDigests liar(real.digests);
    digests = &liar;
    EXPECT_THAT(failures(checkDigests), ElementsAre("SHA-512 of \"abc\""));
}

TEST_F(ContractTest, Languages) {
    EXPECT_THAT(failures(checkLanguages), IsEmpty());
    const Testing::EnglishLanguages liar(real.languages);
    languages = &liar;
    EXPECT_THAT(failures(checkLanguages),
                ElementsAre("a half in de-DE", "a half in ar-SA has its own digits"));
}

TEST_F(ContractTest, System) {
    EXPECT_THAT(failures(checkSystem), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre("Installer contract: a line for the system log, 100% %s"));
    Testing::FakeSystemInfo liar;
    liar.arm64 = !real.system.hasArm64();
    liar.systemVersion = {.major = 10, .minor = 16, .patch = 0};
    system = &liar;
    EXPECT_THAT(failures(checkSystem),
                ElementsAre("the version is a real one, not that of an old program's view",
                            "the processor is known"));
}

TEST_F(ContractTest, Resources) {
    EXPECT_THAT(failures(checkResources), IsEmpty());
    const Testing::GenerousResources generous(KAVIO_CONTRACT_RESOURCES "/contract.txt");
    resources = &generous;
    EXPECT_THAT(failures(checkResources),
                ElementsAre("a missing one is absent", "so is one of another extension", "none has no name"));
    const ResourcesLinux none("");
    resources = &none;
    EXPECT_THAT(failures(checkResources), ElementsAre("a resource is found"));
}

TEST_F(ContractTest, Workspace) {
    EXPECT_THAT(failures(checkWorkspace), IsEmpty());
    const Testing::BusyWorkspace busy;
    workspace = &busy;
    EXPECT_THAT(failures(checkWorkspace), ElementsAre("no other does", "no application has no identifier"));
    const Testing::FakeWorkspace empty;
    workspace = &empty;
    EXPECT_THAT(failures(checkWorkspace), ElementsAre("a running application runs"));
}

TEST_F(ContractTest, CodeSigning) {
    Rehearsal::makeSampleApplication({.bundleIdentifier = "dev.kavio.sample", .small = true}, home.path());
    Rehearsal::BundleOptions adHoc;
    adHoc.code.adHoc = true;
    Rehearsal::signBundle(home / "Kavio.app", nullptr, adHoc);
    EXPECT_THAT(failures(checkCodeSigning), IsEmpty());
    const Testing::StubbornCodeSigning stubborn(realCodeSigning);
    codeSigning = &stubborn;
    EXPECT_THAT(failures(checkCodeSigning), ElementsAre("it is no longer when a file was added"));
}

} // namespace

} // namespace InstallerCore::HostContract
