// Applications that Macs made, when they are there.
#include "tests/hosts/linux/codesign/RealArtefacts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace InstallerCore {

namespace {

using namespace Testing;
using CodeSign::Requirement;

class MacApplicationsTest : public ::testing::Test {
protected:
    explicit MacApplicationsTest(const std::string& archive)
        : file_(std::filesystem::path(KAVIO_MAC_IMAGES) / archive) {}

    void SetUp() override {
        if (!std::filesystem::exists(file_)) {
            GTEST_SKIP() << "There is no " << file_;
        }
        const std::string command = "/usr/bin/7zz x -y -snld -o'" + directory_.path().string() + "' '" +
                                    file_.string() + "' >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    [[nodiscard]] std::string refusal(const std::string& application, const std::string& text) const {
        const auto requirement = Requirement::compile(text);
        return requirement ? refusalOfReal(directory_ / application, &*requirement) : "does not compile";
    }

    std::filesystem::path file_;
    TemporaryDirectory directory_;
};

class DevSignedAppTest : public MacApplicationsTest {
protected:
    DevSignedAppTest() : MacApplicationsTest("DevSignedApp.zip") {}
};

class UnsignedAppTest : public MacApplicationsTest {
protected:
    UnsignedAppTest() : MacApplicationsTest("SparkleTestCodeSign_apfs.dmg") {}
};

TEST_F(DevSignedAppTest, IsValidThoughItsCertificateHasExpired) {
    const auto slices = verifyReal(directory_ / "DevSignedApp.app");
    ASSERT_EQ(slices.size(), 1U);
    ASSERT_TRUE(slices.front().subject.signer.has_value());
    EXPECT_EQ(slices.front().subject.signer->timeStamp, 1'678'663'721);
    EXPECT_EQ(refusal("DevSignedApp.app", installersRequirement("com.zoo.SignedApp", "ZCK58M894E")), "");
    EXPECT_EQ(refusal("DevSignedApp.app", installersRequirement("com.zoo.SignedApp", "HX7739G8FX")),
              "Contents/MacOS/SignedApp: does not meet the requirement");
    EXPECT_EQ(refusal("DevSignedApp.app", installersRequirement("com.zoo.Other", "ZCK58M894E")),
              "Contents/MacOS/SignedApp: does not meet the requirement");
}

TEST_F(DevSignedAppTest, MayNotBeOpenedWithoutTheHardenedRuntime) {
    EXPECT_EQ(policyRefusalOfReal(directory_ / "DevSignedApp.app"),
              "it does not ask for the hardened runtime");
}

TEST_F(UnsignedAppTest, IsRefused) {
    EXPECT_EQ(refusalOfReal(directory_ / "SparkleTestCodeSignApp.app"),
              "Contents/_CodeSignature: is missing");
}

} // namespace

} // namespace InstallerCore
