#include "InstallerCore/install/Installation.h"
#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::infoPropertyList;
using Testing::InstallScene;
using testing::IsEmpty;
using Testing::writeFile;

class VerifyAppTest : public testing::Test {
protected:
    VerifyAppTest() {
        InstallScene::make(scene_.target, "2.0.0");
        test_.codeSigning.isValid = nullptr; // holds
    }

    void verify(const std::string& version = "2.0.0") {
        Installation(scene_.config, test_.platform).verifyApp(scene_.target, version);
    }

    void expectError(const char* text, const std::string& version = "2.0.0") {
        expectInstallerError(text, [&] { verify(version); });
    }

    void setList(const std::string& list) const { writeFile(scene_.target / "Contents/Info.plist", list); }

    // The value of LSMinimumSystemVersion as XML, and the system that runs.
    void setMinimum(const std::string& value, SystemVersion system) {
        setList(
            infoPropertyList(InstallScene::bundleID, "2.0.0", "<key>LSMinimumSystemVersion</key>" + value));
        test_.system.systemVersion = system;
    }

    InstallScene scene_;
    Testing::TestPlatform& test_ = scene_.test;
};

TEST_F(VerifyAppTest, WholeApplicationPassesEveryCheckInOrder) {
    const std::string path = scene_.target.string();
    std::vector<std::string> order;
    test_.codeSigning.isCode = [&](const std::filesystem::path& bundle) {
        order.push_back("code " + bundle.string());
        return true;
    };
    test_.codeSigning.compiles = [&](const std::string& text) {
        order.push_back("requirement " + text);
        return true;
    };
    test_.codeSigning.isValid = [&](const std::filesystem::path& bundle, const std::string& requirement) {
        order.push_back("validity " + bundle.string() + " " + requirement);
        return true;
    };
    scene_.before = [&](const std::string& effect) { order.push_back(effect); };
    verify();
    const std::string requirement =
        "anchor apple generic and identifier \"com.example.kavio\" and certificate "
        "leaf[subject.OU] = \"ABCDE12345\"";
    EXPECT_THAT(order, ElementsAre("code " + path, "requirement " + requirement,
                                   "validity " + path + " " + requirement,
                                   "Files.openForReading D/Kavio.app/Contents/Info.plist", "FileHandle.read",
                                   "FileHandle.read", "Files.openForReading D/Kavio.app/Contents/Info.plist",
                                   "FileHandle.read", "FileHandle.read",
                                   "spctl --assess --type execute D/Kavio.app"));
    EXPECT_EQ(test_.processes.calls.back(),
              (Testing::FakeProcesses::Call{.executable = "/usr/sbin/spctl",
                                            .arguments = {"--assess", "--type", "execute", path}}));
}

TEST_F(VerifyAppTest, ValuesEnterTheRequirementAsTheyAre) {
    scene_.config.bundleID = "a\"b";
    scene_.config.macTeamID = "\\ \"";
    std::string seen;
    test_.codeSigning.compiles = [&seen](const std::string& text) {
        seen = text;
        return false; // as the service says of such a text
    };
    expectError("Invalid signing requirement");
    EXPECT_EQ(seen,
              "anchor apple generic and identifier \"a\"b\" and certificate leaf[subject.OU] = \"\\ \"\"");
}

TEST_F(VerifyAppTest, FirstOfSeveralFailuresIsTheOneReported) {
    // Everything is wrong; one after the other is mended.
    setMinimum("<string>1.2.3.4</string>", {.major = 11});
    setList(
        infoPropertyList("another", "9.9.9", "<key>LSMinimumSystemVersion</key><string>1.2.3.4</string>"));
    test_.codeSigning.isCode = [](const std::filesystem::path&) { return false; };
    test_.codeSigning.compiles = [](const std::string&) { return false; };
    test_.codeSigning.isValid = [](const std::filesystem::path&, const std::string&) { return false; };
    scene_.failure = [](const std::string& effect) { return effect.starts_with("spctl") ? 3 : 0; };

    expectError("Invalid application bundle");
    test_.codeSigning.isCode = nullptr;
    expectError("Invalid signing requirement");
    test_.codeSigning.compiles = nullptr;
    expectError("Application signature or publisher mismatch");
    EXPECT_THAT(scene_.effects, IsEmpty()); // nothing in the bundle was believed so far
    test_.codeSigning.isValid = nullptr;
    expectError("Application identity mismatch");
    setList(infoPropertyList(InstallScene::bundleID, "9.9.9",
                             "<key>LSMinimumSystemVersion</key><string>1.2.3.4</string>"));
    expectError("Application version mismatch");
    setMinimum("<string>1.2.3.4</string>", {.major = 11});
    expectError("Invalid minimum macOS version");
    setMinimum("<string>a.b</string>", {.major = 11});
    expectError("Invalid version");
    setMinimum("<string>12</string>", {.major = 11});
    expectError("This macOS version is not supported");
    test_.system.systemVersion = {.major = 12};
    expectError("System verification or installation failed (spctl: 3)");
    scene_.failure = nullptr;
    verify();
}

TEST_F(VerifyAppTest, MissingApplicationIsNoBundle) {
    std::filesystem::remove_all(scene_.target);
    expectError("Invalid application bundle");
}

TEST_F(VerifyAppTest, ListThatCannotBeReadIsTheErrorOfTheSystem) {
    setList("no list");
    expectPlatformError(PropertyListErrorCode::corrupt, [this] { verify(); });
    setList("<plist version=\"1.0\"><dict/></plist>");
    expectError("Missing application identity or version");
    std::filesystem::remove(scene_.target / "Contents/Info.plist");
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { verify(); });
}

// It is read twice; what happens to it in between must not go unseen.
TEST_F(VerifyAppTest, ListThatCannotBeReadAgainIsTheErrorOfTheSystem) {
    int opened = 0;
    scene_.before = [&](const std::string& effect) {
        if (effect.starts_with("Files.openForReading") && ++opened == 2) {
            setList("no list");
        }
    };
    expectPlatformError(PropertyListErrorCode::corrupt, [this] { verify(); });
    EXPECT_EQ(opened, 2);
}

TEST_F(VerifyAppTest, ListThatBecomesAnotherKindNamesNoMinimum) {
    int opened = 0;
    scene_.before = [&](const std::string& effect) {
        if (effect.starts_with("Files.openForReading") && ++opened == 2) {
            setList("<plist version=\"1.0\"><array/></plist>");
        }
    };
    verify();
    EXPECT_EQ(opened, 2);
}

TEST_F(VerifyAppTest, VersionIsComparedAsText) {
    setList(infoPropertyList(InstallScene::bundleID, "2.0"));
    expectError("Application version mismatch", "2.0.0");
    verify("2.0");
    for (const char* other : {"2.0 ", "02.0", "2.0\n", ""}) {
        expectError("Application version mismatch", other);
    }
}

TEST_F(VerifyAppTest, IdentifierIsComparedAsText) {
    for (const char* other : {"com.example.Kavio", "com.example.kavio.helper", "com.example.kavi"}) {
        setList(infoPropertyList(other, "2.0.0"));
        expectError("Application identity mismatch");
    }
}

TEST_F(VerifyAppTest, StatusAndSignalOfThePolicyToolAreReported) {
    for (const int status : {1, 3, 9, 255}) {
        scene_.failure = [status](const std::string&) { return status; };
        expectError(
            ("System verification or installation failed (spctl: " + std::to_string(status) + ")").c_str());
    }
    test_.processes.tools.erase("/usr/sbin/spctl");
    expectPlatformError(ProcessErrorCode::noSuchExecutable, [this] { verify(); });
}

struct MinimumSystem {
    const char* value; // XML
    SystemVersion system;
    const char* error; // empty: it passes
};

const MinimumSystem minimumSystems[] = {
    {"<string>11</string>", {12, 7, 1}, ""},
    {"<string>12</string>", {12, 0, 0}, ""},
    {"<string>12.7.1</string>", {12, 7, 1}, ""},
    {"<string>12.7.2</string>", {12, 7, 1}, "This macOS version is not supported"},
    {"<string>12.10</string>", {12, 9, 9}, "This macOS version is not supported"},
    {"<string>13.0</string>", {12, 7, 1}, "This macOS version is not supported"},
    {"<string>9.99</string>", {10, 0, 0}, ""},
    {"<string>1.2.3.4</string>", {12, 0, 0}, "Invalid minimum macOS version"},
    {"<string>12.0.0.0</string>", {12, 0, 0}, "Invalid minimum macOS version"},
    {"<string></string>", {12, 0, 0}, "Invalid minimum macOS version"},
    {"<string>...</string>", {12, 0, 0}, "Invalid minimum macOS version"},
    {"<string>10..15</string>", {10, 15, 0}, ""},
    {"<string>10..15</string>", {10, 14, 9}, "This macOS version is not supported"},
    {"<string>.12.</string>", {12, 0, 0}, ""},
    {"<string>1.2.3...</string>", {12, 0, 0}, ""},
    {"<string>012.00</string>", {12, 0, 0}, ""},
    {"<string>12.x</string>", {12, 0, 0}, "Invalid version"},
    {"<string> 12</string>", {12, 0, 0}, "Invalid version"},
    {"<string>-1</string>", {12, 0, 0}, "Invalid version"},
    {"<string>99999999999999999999</string>", {12, 0, 0}, "Invalid version"},
    {"<integer>99</integer>", {12, 0, 0}, ""},
    {"<real>99.5</real>", {12, 0, 0}, ""},
    {"<array><string>99</string></array>", {12, 0, 0}, ""},
};

TEST_F(VerifyAppTest, MinimumSystemIsHeldAgainstTheOneThatRuns) {
    for (const MinimumSystem& row : minimumSystems) {
        SCOPED_TRACE(row.value);
        setMinimum(row.value, row.system);
        if (*row.error == '\0') {
            EXPECT_NO_THROW(verify());
        } else {
            expectError(row.error);
        }
    }
}

} // namespace

} // namespace InstallerCore
