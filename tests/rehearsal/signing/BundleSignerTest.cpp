#include "rehearsal/signing/BundleSigner.h"

#include "hosts/linux/PropertyListWriter.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/posix/ProcessesPosix.h"
#include "rehearsal/SampleApplication.h"
#include "tests/rehearsal/DescribeTree.h"
#include "tests/rehearsal/signing/SigningJudge.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <set>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::string informationList(const std::string& executable, const std::string& identifier) {
    return "<plist><dict><key>CFBundleExecutable</key><string>" + executable +
           "</string><key>CFBundleIdentifier</key><string>" + identifier + "</string></dict></plist>";
}

class BundleSignerTest : public ::testing::Test {
protected:
    void SetUp() override { contents_ = makeSampleApplication({}, directory_.path()) / "Contents"; }

    static void write(const std::filesystem::path& file, const std::string& content) {
        std::filesystem::create_directories(file.parent_path());
        writeFile(file, content);
    }

    static void addExecutable(const std::filesystem::path& file) {
        std::filesystem::create_directories(file.parent_path());
        std::filesystem::copy_file(sampleExecutables() / "arm64/KavioHelper", file);
    }

    SignedCode sign(const BundleOptions& options = {}) const {
        return signBundle(app_, &sharedIdentity(), options);
    }

    // The line of that bundle.
    [[nodiscard]] json judgement(const std::string& bundle = "Kavio.app") const {
        for (const json& line : judgeBundle(app_)) {
            if (line.at("bundle") == bundle) {
                return line;
            }
        }
        ADD_FAILURE() << "nothing is said of " << bundle;
        return {};
    }

    [[nodiscard]] PropertyDictionary seal() const {
        const std::string file = readFile(contents_ / "_CodeSignature/CodeResources");
        return *PropertyListsLibplist().parse(asBytes(file)).dictionary();
    }

    // What the newer half of the seal says of the path.
    [[nodiscard]] PropertyDictionary sealOf(const std::string& path) const {
        return *member(*member(seal(), "files2")->dictionary(), path)->dictionary();
    }

    TemporaryDirectory directory_;
    std::filesystem::path app_ = directory_ / "Kavio.app";
    std::filesystem::path contents_;
};

TEST_F(BundleSignerTest, EverySealOfTheSampleApplicationFits) {
    const SignedCode code = sign();
    const json found = judgement();
    EXPECT_EQ(code.identifier, "test.mykavio.app");
    EXPECT_EQ(found.at("code").at(0).at("identifier"), "test.mykavio.app");
    EXPECT_EQ(found.at("code").at(0).at("slots"), json({1, 2, 3}));
    const auto sealed = found.at("sealed").get<std::set<std::string>>();
    for (const char* path : {"Linux/Kavio", "Helpers/KavioHelper", "Frameworks/KavioKit.framework",
                             "Resources/Current.txt", "Resources/Empty.txt"}) {
        EXPECT_TRUE(sealed.contains(path)) << path;
    }
    EXPECT_FALSE(sealed.contains("PkgInfo"));
    EXPECT_FALSE(sealed.contains("MacOS/Kavio"));
    EXPECT_EQ(judgement("KavioKit.framework").at("sealed"), json({"Resources/Info.plist"}));
}

TEST_F(BundleSignerTest, EachKindOfEntryHasItsSeal) {
    sign();
    using Keys = std::set<std::string>;
    const std::pair<const char*, Keys> cases[] = {
        {"Resources/Current.txt", {"symlink"}},
        {"Resources/Empty.txt", {"hash2"}},
        {"Resources/de.lproj/Localizable.strings", {"hash2", "optional"}},
        {"Helpers/KavioHelper", {"cdhash", "requirement"}},
    };
    for (const auto& [path, expected] : cases) {
        Keys keys;
        for (const auto& [key, value] : sealOf(path)) {
            keys.insert(key);
        }
        EXPECT_EQ(keys, expected) << path;
    }
    EXPECT_THAT(*sealOf("Frameworks/KavioKit.framework").at("requirement").text(),
                HasSubstr("identifier \"test.mykavio.app.kit\" and anchor apple generic"));
}

TEST_F(BundleSignerTest, TheSealStatesTheUsualRules) {
    sign();
    const PropertyDictionary rules = *member(seal(), "rules2")->dictionary();
    EXPECT_THAT(rules, SizeIs(13));
    EXPECT_TRUE(std::get<bool>(rules.at("^.*").value));
    const std::pair<const char*, const char*> cases[] = {
        {"^PkgInfo$", "<key>omit</key>\n\t<true/>\n\t<key>weight</key>\n\t<real>20</real>"},
        {"^[^/]+$", "<key>nested</key>\n\t<true/>\n\t<key>weight</key>\n\t<real>10</real>"},
        {"^Resources/.*\\.lproj/",
         "<key>optional</key>\n\t<true/>\n\t<key>weight</key>\n\t<real>1000</real>"},
    };
    for (const auto& [pattern, rule] : cases) {
        EXPECT_THAT(writePropertyList(rules.at(pattern)), HasSubstr(rule));
    }
    EXPECT_THAT(*member(seal(), "rules")->dictionary(), SizeIs(5));
}

TEST_F(BundleSignerTest, OtherDigestsAreSealedAsWell) {
    sign({.code = {.hashes = {SignatureHash::sha1, SignatureHash::sha256, SignatureHash::sha384}}});
    (void)judgement();
    const PropertyDictionary empty = sealOf("Resources/Empty.txt");
    EXPECT_THAT(empty, SizeIs(3));
    EXPECT_THAT(*empty.at("hash").data(), SizeIs(20));
    EXPECT_THAT(*empty.at("hash4").data(), SizeIs(48));
}

TEST_F(BundleSignerTest, WhatIsOmittedMayBeThere) {
    write(contents_ / ".DS_Store", "1");
    write(contents_ / "Resources/deep/.DS_Store", "2");
    write(contents_ / "Resources/de.lproj/locversion.plist", "3");
    sign();
    const std::string sealed = judgement().at("sealed").dump();
    EXPECT_THAT(sealed, Not(HasSubstr("DS_Store")));
    EXPECT_THAT(sealed, Not(HasSubstr("locversion")));
}

TEST_F(BundleSignerTest, TheBaseLanguageIsNotOptional) {
    write(contents_ / "Resources/Base.lproj/Main.nib", "x");
    sign();
    EXPECT_FALSE(sealOf("Resources/Base.lproj/Main.nib").contains("optional"));
}

TEST_F(BundleSignerTest, NestedCodeOfEveryKindIsSignedFirst) {
    write(contents_ / "XPCServices/Service.xpc/Contents/Info.plist",
          informationList("Service", "test.service"));
    addExecutable(contents_ / "XPCServices/Service.xpc/Contents/MacOS/Service");
    addExecutable(contents_ / "XPCServices/Service.xpc/Contents/Helpers/Inner");
    write(contents_ / "PlugIns/Flat.bundle/Info.plist", informationList("Flat", "test.flat"));
    write(contents_ / "PlugIns/Flat.bundle/en.lproj/Text.strings", "text");
    addExecutable(contents_ / "PlugIns/Flat.bundle/Flat");
    std::filesystem::copy_file(sampleExecutables() / "x64/KavioKit", contents_ / "Frameworks/libkit.1.dylib");
    sign();
    EXPECT_EQ(judgement("Service.xpc").at("sealed"), json({"Helpers/Inner"}));
    EXPECT_EQ(judgement("Flat.bundle").at("sealed"), json({"en.lproj/Text.strings"}));
    EXPECT_TRUE(sealOf("Frameworks/libkit.1.dylib").contains("requirement"));
    EXPECT_THAT(readSignedBundle(app_), SizeIs(7));
}

TEST_F(BundleSignerTest, AllVersionsOfAFrameworkAreSigned) {
    const auto versions = contents_ / "Frameworks/KavioKit.framework/Versions";
    std::filesystem::copy(versions / "A", versions / "B", std::filesystem::copy_options::recursive);
    sign();
    (void)judgement();
    EXPECT_EQ(readSignedMachO(versions / "B/KavioKit").slices,
              readSignedMachO(versions / "A/KavioKit").slices);
    EXPECT_TRUE(exists(versions / "B/_CodeSignature/CodeResources"));
}

class NestedScriptTest : public BundleSignerTest {
protected:
    void SetUp() override {
        BundleSignerTest::SetUp();
        write(script_, "#!/bin/sh\n");
        if (::setxattr(script_.c_str(), "user.try", "", 0, 0) != 0) {
            GTEST_SKIP() << "this volume has no extended attributes";
        }
    }

    [[nodiscard]] std::string attributes() const {
        std::string names(1024, '\0');
        names.resize(static_cast<std::size_t>(::listxattr(script_.c_str(), names.data(), names.size())));
        return names;
    }

    std::filesystem::path script_ = directory_ / "Kavio.app/Contents/MacOS/run.sh";
};

TEST_F(NestedScriptTest, ItsSignatureIsInExtendedAttributes) {
    // Without what makes it larger than some volumes allow.
    sign({.code = {.cms = {.embedRoot = false, .timeStamp = false}}});
    (void)judgement();
    EXPECT_EQ(readFile(script_), "#!/bin/sh\n");
    for (const char* name : {"CodeDirectory", "CodeRequirements", "CodeSignature"}) {
        EXPECT_THAT(attributes(), HasSubstr(std::string("user.com.apple.cs.") + name + '\0'));
    }
    EXPECT_THAT(*sealOf("MacOS/run.sh").at("requirement").text(), HasSubstr("identifier \"run\""));
    EXPECT_THAT(readSignedBundle(app_), SizeIs(4));
}

TEST_F(NestedScriptTest, ItCanHaveSeveralDirectoriesAndIsReadBack) {
    const BundleOptions options{
        .code = {.hashes = {SignatureHash::sha1, SignatureHash::sha256}, .adHoc = true}};
    const SignedCode written = Rehearsal::sign(script_, nullptr, options);
    EXPECT_THAT(attributes(), HasSubstr("user.com.apple.cs.CodeRequirements-1"));
    sign(options);
    (void)judgement();
    sign({.code = options.code, .deep = false});
    const std::string hash = hexadecimal(written.slices.at(0).at(1).hash);
    EXPECT_EQ(hexadecimal(*sealOf("MacOS/run.sh").at("cdhash").data()), hash);
}

TEST_F(NestedScriptTest, OneWithoutASignatureIsRefusedWhenCodeKeepsItsOwn) {
    EXPECT_THROW(sign({.deep = false}), std::runtime_error);
}

TEST_F(BundleSignerTest, NestedCodeCanKeepTheSignatureThatItHas) {
    const auto helper = contents_ / "Helpers/KavioHelper";
    const SignedCode all = sign();
    EXPECT_EQ(sign({.deep = false}).slices, all.slices);
    (void)signMachO(helper, &sharedIdentity(), {.identifier = "another"});
    const std::string before = readFile(helper);
    sign({.deep = false});
    EXPECT_TRUE(readFile(helper) == before);
    EXPECT_THAT(*sealOf("Helpers/KavioHelper").at("requirement").text(), HasSubstr("identifier \"another\""));
    (void)judgement();
}

TEST_F(BundleSignerTest, SigningAgainChangesNoSealAndNoCode) {
    const SignedCode first = sign();
    const std::string before = readFile(contents_ / "_CodeSignature/CodeResources");
    write(contents_ / "_CodeSignature/Left", "by another");
    EXPECT_EQ(sign().slices, first.slices);
    EXPECT_EQ(readFile(contents_ / "_CodeSignature/CodeResources"), before);
    EXPECT_FALSE(exists(contents_ / "_CodeSignature/Left"));
}

TEST_F(BundleSignerTest, AdHocCodeIsDemandedByItsHashes) {
    const SignedCode code = signBundle(app_, nullptr, {.code = {.adHoc = true}});
    EXPECT_TRUE(code.adHoc);
    (void)judgement();
    const SignedCode helper = readSignedMachO(contents_ / "Helpers/KavioHelper");
    EXPECT_EQ(*sealOf("Helpers/KavioHelper").at("requirement").text(),
              "cdhash H\"" + hexadecimal(helper.slices.at(0).at(0).hash) + "\" or cdhash H\"" +
                  hexadecimal(helper.slices.at(1).at(0).hash) + '"');
}

TEST_F(BundleSignerTest, OptionsForTheOutermostCodeDoNotReachNestedCode) {
    sign(
        {.code = {.identifier = "outer", .entitlements = "<plist><dict><key>k</key><true/></dict></plist>"}});
    EXPECT_EQ(judgement().at("code").at(0).at("identifier"), "outer");
    EXPECT_EQ(judgement().at("code").at(0).at("slots"), json({1, 2, 3, 5, 7}));
    EXPECT_EQ(judgement("KavioKit.framework").at("code").at(0).at("slots"), json({1, 2, 3}));
    EXPECT_EQ(readSignedMachO(contents_ / "Helpers/KavioHelper").identifier, "KavioHelper");
}

TEST_F(BundleSignerTest, HalvesOfTheSealCanBeLeftOut) {
    sign({.olderSeal = false});
    EXPECT_EQ(judgement().at("older"), json::array());
    EXPECT_THAT(seal(), SizeIs(2));
    sign({.newerSeal = false});
    EXPECT_THAT(seal(), SizeIs(2));
    EXPECT_NE(member(seal(), "files"), nullptr);
}

TEST_F(BundleSignerTest, TheRequirementOfNestedCodeCanBeAnother) {
    sign({.nestedRequirement = "never"});
    EXPECT_EQ(*sealOf("Helpers/KavioHelper").at("requirement").text(), "never");
}

TEST_F(BundleSignerTest, ModesDoNotDependOnTheMask) {
    runInChild([this] {
        ::umask(0077);
        sign();
    });
    EXPECT_EQ(permissionsOf(contents_ / "_CodeSignature"), 0755U);
    EXPECT_EQ(permissionsOf(contents_ / "_CodeSignature/CodeResources"), 0644U);
    EXPECT_EQ(permissionsOf(contents_ / "MacOS/Kavio"), 0755U);
}

TEST_F(BundleSignerTest, WhatIsNoBundleIsRefused) {
    EXPECT_THROW(signBundle(directory_.path(), &sharedIdentity()), std::exception);
    EXPECT_THROW(signBundle(app_, nullptr), std::runtime_error);
    std::filesystem::create_directory(contents_ / "PlugIns");
    std::filesystem::create_directory(contents_ / "PlugIns/Empty.bundle");
    EXPECT_THROW(sign(), std::exception);
    std::filesystem::remove_all(contents_ / "PlugIns");
    write(contents_ / "Info.plist", informationList("../Kavio", "test"));
    EXPECT_THROW(sign(), std::runtime_error);
}

TEST_F(BundleSignerTest, TheJudgeRefusesWhatWasChangedAfterwards) {
    sign();
    for (const char* path : {"Resources/Kavio.txt", "Linux/Kavio", "Info.plist", "Helpers/KavioHelper"}) {
        const std::string before = readFile(contents_ / path);
        writeFile(contents_ / path, before + "\n");
        EXPECT_EQ(judge({"bundle", app_}).status, 1) << path;
        writeFile(contents_ / path, before);
    }
    write(contents_ / "Resources/Added.txt", "");
    EXPECT_THAT(judge({"bundle", app_}).text, HasSubstr("not sealed: ['Resources/Added.txt']"));
}

class SignSampleTest : public BundleSignerTest {
protected:
    [[nodiscard]] static int run(const std::vector<std::string>& arguments) {
        return ProcessesPosix().run(SIGN_SAMPLE, arguments, Processes::ErrorOutput::discarded).status;
    }
};

TEST_F(SignSampleTest, ItSignsWithASavedIdentity) {
    sharedIdentity().saveTo(directory_ / "identity");
    ASSERT_EQ(
        run({app_, "--identity", directory_ / "identity", "--ticket", "--no-timestamp", "--no-runtime"}), 0);
    EXPECT_EQ(judgement().at("code").at(0).at("flags"), "0x0");
    EXPECT_TRUE(exists(contents_ / "CodeResources"));
}

TEST_F(SignSampleTest, ItSignsAdHocWithoutOne) {
    ASSERT_EQ(run({"--ad-hoc", app_}), 0);
    EXPECT_EQ(judgement().at("code").at(0).at("flags"), "0x10002");
}

TEST_F(SignSampleTest, WrongUsageIsStatusTwoAndFailureOne) {
    const std::string app = app_;
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {app},
                                               {"--ad-hoc"},
                                               {app, "--ad-hoc", "--ticket"},
                                               {app, "--identity"},
                                               {app, "--ad-hoc", "--other"}}) {
        EXPECT_EQ(run(arguments), 2);
    }
    EXPECT_EQ(run({app, "--identity", directory_ / "absent"}), 1);
}

} // namespace

} // namespace InstallerCore
