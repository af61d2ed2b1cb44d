#include "rehearsal/SampleApplication.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "InstallerCore/install/MachOArchitectures.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "tests/rehearsal/DescribeTree.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

class SampleApplicationTest : public ::testing::Test {
protected:
    std::filesystem::path make(const SampleApplicationOptions& options,
                               const std::string& folder = "folder") {
        std::filesystem::create_directory(directory_ / folder);
        return makeSampleApplication(options, directory_ / folder);
    }

    [[nodiscard]] static PropertyDictionary propertyList(const std::filesystem::path& file) {
        return *PropertyListsLibplist().parse(asBytes(readFile(file))).dictionary();
    }

    [[nodiscard]] static std::string text(const PropertyDictionary& list, std::string_view key) {
        const PropertyValue* value = member(list, key);
        return value == nullptr ? "none" : *value->text();
    }

    TemporaryDirectory directory_;
};

TEST_F(SampleApplicationTest, TheInformationListSaysWhatWasAskedFor) {
    const auto bundle =
        make({.version = "2.3.4", .bundleIdentifier = "test.other", .minimumSystemVersion = "13.5"});
    const PropertyDictionary list = propertyList(bundle / "Contents/Info.plist");
    EXPECT_EQ(text(list, "CFBundleIdentifier"), "test.other");
    EXPECT_EQ(text(list, "CFBundleShortVersionString"), "2.3.4");
    EXPECT_EQ(text(list, "CFBundleVersion"), "2.3.4");
    EXPECT_EQ(text(list, "LSMinimumSystemVersion"), "13.5");
    EXPECT_EQ(text(list, "CFBundleExecutable"), "Kavio");
    EXPECT_EQ(text(list, "CFBundlePackageType"), "APPL");
    EXPECT_EQ(text(list, "NSPrincipalClass"), "NSApplication");
    EXPECT_EQ(std::get<bool>(list.at("NSHighResolutionCapable").value), true);
    EXPECT_EQ(readFile(bundle / "Contents/PkgInfo"), "APPL????");
}

TEST_F(SampleApplicationTest, TheIdentifierIsTheConfiguredProductsAndTheMinimumVersionCanBeLeftOut) {
    const auto bundle = make({.minimumSystemVersion = ""});
    const PropertyDictionary list = propertyList(bundle / "Contents/Info.plist");
    EXPECT_EQ(text(list, "CFBundleIdentifier"), Config::decode(BuildConfig::json()).bundleID);
    EXPECT_EQ(text(list, "LSMinimumSystemVersion"), "none");
}

TEST_F(SampleApplicationTest, AnyTextCanStandInTheInformationList) {
    constexpr const char* version = "1 < 2 & \"3\"";
    const auto bundle = make({.version = version});
    EXPECT_EQ(text(propertyList(bundle / "Contents/Info.plist"), "CFBundleVersion"), version);
}

TEST_F(SampleApplicationTest, AnotherReaderTakesTheInformationLists) {
    const auto contents = make({}) / "Contents";
    for (const char* list : {"Info.plist", "Frameworks/KavioKit.framework/Versions/A/Resources/Info.plist"}) {
        const std::string found = outputOf(
            "/usr/bin/python3",
            {"-c", "import plistlib, sys; print(plistlib.load(open(sys.argv[1], 'rb'))['CFBundleVersion'])",
             contents / list});
        EXPECT_EQ(found, "1.0.0\n");
    }
}

constexpr const char* executables[] = {"MacOS/Kavio", "Helpers/KavioHelper",
                                       "Frameworks/KavioKit.framework/Versions/A/KavioKit"};

TEST_F(SampleApplicationTest, TheExecutablesAreUniversal) {
    const auto contents = make({}) / "Contents";
    for (const char* executable : executables) {
        SCOPED_TRACE(executable);
        EXPECT_EQ(outputOf("/usr/bin/llvm-lipo-19", {"-archs", contents / executable}), "arm64 x86_64 \n");
        EXPECT_EQ(machOArchitectures(asBytes(readFile(contents / executable)).first(4096)),
                  (std::set<std::string>{"arm64", "x64"}));
    }
}

TEST_F(SampleApplicationTest, TheExecutablesAreOfOneArchitectureWhereThatIsAskedFor) {
    const auto arm = make({.architectures = {"arm64"}}, "arm") / "Contents/MacOS/Kavio";
    const auto intel = make({.architectures = {"x64"}}, "intel") / "Contents/MacOS/Kavio";
    EXPECT_EQ(outputOf("/usr/bin/llvm-lipo-19", {"-archs", arm}), "arm64 \n");
    EXPECT_EQ(outputOf("/usr/bin/llvm-lipo-19", {"-archs", intel}), "x86_64 \n");
    EXPECT_EQ(machOArchitectures(asBytes(readFile(arm)).first(4096)), std::set<std::string>{"arm64"});
    EXPECT_EQ(machOArchitectures(asBytes(readFile(intel)).first(4096)), std::set<std::string>{"x64"});
}

TEST_F(SampleApplicationTest, ItCanHaveExecutablesOfSomebodyElse) {
    const std::filesystem::path others = directory_ / "others";
    for (const char* architecture : {"arm64", "x64"}) {
        std::filesystem::create_directories(others / architecture);
        for (const char* name : {"Kavio", "KavioKit", "KavioHelper"}) {
            std::filesystem::copy_file(sampleExecutables() / architecture / "KavioHelper",
                                       others / architecture / name);
        }
    }
    const auto contents = make({.executables = others}) / "Contents";
    for (const char* executable : executables) {
        EXPECT_EQ(readFile(contents / executable), readFile(contents / executables[1])) << executable;
    }
}

TEST_F(SampleApplicationTest, AnotherReaderSeesProgramsAndALibraryForMacOs12) {
    const auto contents = make({}) / "Contents";
    for (const char* architecture : {"arm64", "x86_64"}) {
        SCOPED_TRACE(architecture);
        const auto headers = [&](const char* executable) {
            return outputOf("/usr/bin/llvm-objdump-19",
                            {"--macho", "--private-headers", std::string("--arch=") + architecture,
                             contents / executable});
        };
        EXPECT_THAT(headers(executables[0]),
                    AllOf(HasSubstr(" EXECUTE "), HasSubstr("LC_MAIN"), HasSubstr("LC_CODE_SIGNATURE"),
                          HasSubstr("minos 12.0"), HasSubstr("/usr/lib/libSystem.B.dylib"),
                          HasSubstr("@rpath/KavioKit.framework/Versions/A/KavioKit"),
                          HasSubstr("@executable_path/../Frameworks")));
        EXPECT_THAT(headers(executables[1]),
                    AllOf(HasSubstr(" EXECUTE "), Not(HasSubstr("KavioKit.framework"))));
        EXPECT_THAT(headers(executables[2]), AllOf(HasSubstr(" DYLIB "), HasSubstr("LC_ID_DYLIB")));
    }
}

TEST_F(SampleApplicationTest, TheFrameworksLinksLeadIntoItsVersion) {
    const auto framework = make({}) / "Contents/Frameworks/KavioKit.framework";
    EXPECT_EQ(std::filesystem::read_symlink(framework / "Versions/Current"), "A");
    for (const char* name : {"KavioKit", "Resources"}) {
        EXPECT_EQ(std::filesystem::read_symlink(framework / name),
                  std::filesystem::path("Versions/Current") / name);
        EXPECT_TRUE(std::filesystem::equivalent(framework / name, framework / "Versions/A" / name));
    }
}

TEST_F(SampleApplicationTest, ItRunsOnThisMachine) {
    const auto executable = make({.small = true}) / "Contents/Linux/Kavio";
    Program program({executable.string()});
    EXPECT_TRUE(program.echoes());
    EXPECT_TRUE(program.echoes());
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(SampleApplicationTest, TheSmallOneHasAtMostTenEntries) {
    const auto bundle = make({.small = true, .payloadFiles = 5, .payloadBytes = 500});
    const auto tree = describeTree(bundle.parent_path());
    EXPECT_LE(tree.size(), 10U); // two of twelve are left for a signature
    EXPECT_TRUE(tree.contains("Kavio.app/Contents/Info.plist"));
    EXPECT_TRUE(tree.contains("Kavio.app/Contents/MacOS/Kavio"));
    EXPECT_EQ(tree.at("Kavio.app/Contents/Resources/Current.txt"), "link Kavio.txt");
}

TEST_F(SampleApplicationTest, ThePayloadHasTheFilesAndBytesThatWereAskedFor) {
    const auto payload = make({.payloadFiles = 250, .payloadBytes = 100'007}) / "Contents/Resources/Payload";
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(payload)) {
        if (entry.is_regular_file()) {
            ++files;
            bytes += entry.file_size();
        }
    }
    EXPECT_EQ(files, 250U);
    EXPECT_EQ(bytes, 100'007U);
}

TEST_F(SampleApplicationTest, TheSameOptionsGiveTheSameTreeAndAnotherVersionAnother) {
    const SampleApplicationOptions options{.version = "1.0.0", .payloadFiles = 3, .payloadBytes = 3000};
    SampleApplicationOptions newer = options;
    newer.version = "1.1.0";
    const auto first = describeTree(make(options, "first"));
    const auto second = describeTree(make(options, "second"));
    const auto third = describeTree(make(newer, "third"));
    EXPECT_THAT(differences(first, second), IsEmpty());
    const std::string payload = "Contents/Resources/Payload/0/0.bin";
    EXPECT_THAT(differences(first, third), IsSupersetOf({std::string("Contents/Info.plist"), payload}));
    EXPECT_TRUE(first.at("Contents/MacOS/Kavio") == third.at("Contents/MacOS/Kavio"));
}

TEST_F(SampleApplicationTest, ModesDoNotDependOnTheMask) {
    const auto plain = describeTree(make({}, "plain"));
    runInChild([this] {
        ::umask(0077);
        (void)make({}, "private");
    });
    EXPECT_THAT(differences(describeTree(directory_ / "private/Kavio.app"), plain), IsEmpty());
    EXPECT_EQ(permissionsOf(directory_ / "private/Kavio.app"), 0755U);
    EXPECT_THAT(plain.at("Contents/MacOS/Kavio"), ::testing::StartsWith("file " + std::to_string(0755)));
    EXPECT_THAT(plain.at("Contents/Info.plist"), ::testing::StartsWith("file " + std::to_string(0644)));
}

TEST_F(SampleApplicationTest, EveryEntryBearsTheSameDate) {
    const auto bundle = make({});
    struct stat status = {};
    ASSERT_EQ(::lstat(bundle.c_str(), &status), 0);
    const time_t date = status.st_mtime;
    EXPECT_EQ(date, 1767225600);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(bundle)) {
        ASSERT_EQ(::lstat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mtime, date) << entry.path();
    }
}

TEST_F(SampleApplicationTest, WhatCannotBeMadeIsRefused) {
    EXPECT_THROW(make({.architectures = {"ppc"}}, "a"), std::runtime_error);
    EXPECT_THROW(make({.architectures = {}}, "b"), std::runtime_error);
    (void)make({}, "c");
    EXPECT_THROW(make({}, "c"), std::runtime_error);
}

} // namespace

} // namespace InstallerCore
