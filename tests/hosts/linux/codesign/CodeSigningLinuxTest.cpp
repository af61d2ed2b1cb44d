#include "hosts/linux/codesign/CodeSigningLinux.h"

#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;
using Testing::TrapKind;

class CodeSigningLinuxTest : public Testing::BundleFixture {
protected:
    [[nodiscard]] bool isValid(const fs::path& bundle, const std::string& requirement = "always") const {
        return signing.staticCode(bundle)->isValid(*signing.requirement(requirement));
    }

    const CodeSign::TrustRoots roots = CodeSign::TrustRoots::apple();
    Testing::FakeClock clock;
    Testing::RecordingLog log;
    CodeSigningLinux signing{roots, clock, log};
};

TEST_F(CodeSigningLinuxTest, saysYesWithoutAWord) {
    EXPECT_TRUE(isValid(copy()));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CodeSigningLinuxTest, eachRefusalIsOneLineWithPathPlaceAndRule) {
    const fs::path bundle = copy();
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    const std::string line = "Signature refused: " + bundle.string() +
                             ": Contents/Resources/Kavio.txt: does not have its sealed content";
    EXPECT_FALSE(isValid(bundle));
    EXPECT_EQ(log.lines(), std::vector<std::string>{line});
    EXPECT_FALSE(isValid(bundle));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{line, line}));
}

TEST_F(CodeSigningLinuxTest, theRequirementCounts) {
    const fs::path bundle = copy();
    EXPECT_FALSE(isValid(bundle, R"(anchor apple generic and certificate leaf[subject.OU] = "SAMPLETEAM")"));
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"Signature refused: " + bundle.string() +
                                       ": Contents/MacOS/Kavio (arm64): does not meet the requirement"});
}

TEST_F(CodeSigningLinuxTest, codeIsLookedAtAnewEachTime) {
    const fs::path bundle = copy();
    const auto code = signing.staticCode(bundle);
    const auto requirement = signing.requirement("always");
    EXPECT_TRUE(code->isValid(*requirement));
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    EXPECT_FALSE(code->isValid(*requirement));
    fs::remove_all(bundle);
    EXPECT_FALSE(code->isValid(*requirement));
    EXPECT_EQ(log.lines().back(),
              "Signature refused: " + bundle.string() + ": there is nothing that can be read");
}

TEST_F(CodeSigningLinuxTest, thereIsNoCodeWhereNothingCouldBeSigned) {
    fs::create_directory(directory / "folder");
    EXPECT_EQ(signing.staticCode(directory / "folder"), nullptr);
    EXPECT_EQ(signing.staticCode(directory / "missing"), nullptr);
    EXPECT_EQ(signing.staticCode(""), nullptr);
    EXPECT_EQ(signing.staticCode("/dev/null"), nullptr);
    for (const TrapKind kind :
         {TrapKind::danglingLink, TrapKind::linkToDirectory, TrapKind::fifo, TrapKind::socket}) {
        const fs::path place = directory / nameOf(kind);
        const Testing::Trap trap(place, kind);
        EXPECT_EQ(signing.staticCode(place), nullptr) << nameOf(kind);
        trap.expectUntouched();
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CodeSigningLinuxTest, whatCouldBeSignedIsCode) {
    Testing::addFile(directory / "file");
    ASSERT_NE(signing.staticCode(directory / "file"), nullptr);
    EXPECT_FALSE(isValid(directory / "file"));
    Testing::addFile(directory / "Broken.app/Contents/extra");
    ASSERT_NE(signing.staticCode(directory / "Broken.app"), nullptr);
    EXPECT_FALSE(isValid(directory / "Broken.app"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(CodeSigningLinuxTest, aTextThatDoesNotCompileIsNoRequirement) {
    for (const char* const text : {"", "identifier", "identifier \"a\"b\"", "anchor apple generic and",
                                   R"(certificate leaf[subject.OU] = "TE"AM")"}) {
        EXPECT_EQ(signing.requirement(text), nullptr) << text;
    }
    EXPECT_TRUE(log.lines().empty());
}

} // namespace

} // namespace InstallerCore
