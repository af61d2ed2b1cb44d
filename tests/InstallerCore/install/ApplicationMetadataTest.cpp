#include "InstallerCore/install/ApplicationMetadata.h"

#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::infoPropertyList;
using Testing::TestPlatform;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

constexpr const char* missing = "Missing application identity or version";

class ApplicationMetadataTest : public testing::Test {
protected:
    ApplicationMetadataTest() { std::filesystem::create_directories(list().parent_path()); }

    [[nodiscard]] std::filesystem::path application() const { return test_.home / "Odd \"name\".app"; }

    [[nodiscard]] std::filesystem::path list() const { return application() / "Contents/Info.plist"; }

    ApplicationMetadata read() { return ApplicationMetadata::read(application(), test_.platform); }

    ApplicationMetadata readList(const std::string& text) {
        writeFile(list(), text);
        return read();
    }

    // The members of the dictionary, as XML.
    void expectMissing(const std::string& members) {
        SCOPED_TRACE(members);
        expectInstallerError(
            missing, [&] { readList("<plist version=\"1.0\"><dict>" + members + "</dict></plist>"); });
    }

    TestPlatform test_;
};

TEST_F(ApplicationMetadataTest, IdentifierAndVersionAreRead) {
    const ApplicationMetadata expected{.bundleID = "com.example.kavio", .version = "1.2.3"};
    EXPECT_EQ(readList(infoPropertyList("com.example.kavio", "1.2.3")), expected);
    EXPECT_EQ(
        readList(infoPropertyList("com.example.kavio", "1.2.3", "<key>Other</key><integer>1</integer>")),
        expected);
}

TEST_F(ApplicationMetadataTest, TextsAreTakenAsTheyAre) {
    const auto metadata = readList(infoPropertyList(" ", "v2 \xC3\xA4"));
    EXPECT_EQ(metadata.bundleID, " ");
    EXPECT_EQ(metadata.version, "v2 \xC3\xA4");
}

TEST_F(ApplicationMetadataTest, BothMembersMustBeTextsWithContent) {
    const std::string identifier = "<key>CFBundleIdentifier</key><string>a</string>";
    const std::string version = "<key>CFBundleShortVersionString</key><string>1</string>";
    expectMissing("");
    expectMissing(identifier);
    expectMissing(version);
    expectMissing(identifier + "<key>CFBundleVersion</key><string>1</string>");
    expectMissing(identifier + "<key>cfbundleshortversionstring</key><string>1</string>");
    expectMissing(identifier + "<key>CFBundleShortVersionString</key><string></string>");
    expectMissing("<key>CFBundleIdentifier</key><string></string>" + version);
    for (const char* value :
         {"<integer>1</integer>", "<real>1.5</real>", "<true/>", "<data>YQ==</data>",
          "<array><string>1</string></array>", "<dict/>", "<date>2020-01-01T00:00:00Z</date>"}) {
        expectMissing(identifier + "<key>CFBundleShortVersionString</key>" + value);
        expectMissing(std::string("<key>CFBundleIdentifier</key>") + value + version);
    }
}

TEST_F(ApplicationMetadataTest, AnotherTopLevelHasNoMembers) {
    for (const char* value : {"<array/>", "<string>CFBundleIdentifier</string>", "<integer>1</integer>"}) {
        expectInstallerError(missing,
                             [&] { readList("<plist version=\"1.0\">" + std::string(value) + "</plist>"); });
    }
}

TEST_F(ApplicationMetadataTest, WhatCannotBeReadIsTheErrorOfTheSystem) {
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { read(); });
    for (const char* text : {"", "no list", "<plist><dict>"}) {
        expectPlatformError(PropertyListErrorCode::corrupt, [&] { readList(text); });
    }
    for (const FileErrorCode code : {FileErrorCode::readUnknown, FileErrorCode::readNoPermission}) {
        test_.files.failAt("FileHandle.read", 1, code);
        expectPlatformError(code, [&] { readList(infoPropertyList("a", "1")); });
        EXPECT_EQ(read().version, "1");
        test_.files.failAt("Files.openForReading", 1, code);
        expectPlatformError(code, [&] { read(); });
        test_.files.failAt("Files.openForReading", 100, code); // not met
    }
}

TEST_F(ApplicationMetadataTest, WhatIsNoFileIsRefusedAtOnce) {
    for (const TrapKind kind :
         {TrapKind::fifo, TrapKind::socket, TrapKind::directory, TrapKind::linkToDirectory}) {
        SCOPED_TRACE(nameOf(kind));
        std::filesystem::remove_all(list());
        const Trap trap(list(), kind);
        expectPlatformError(FileErrorCode::notRegularFile, [this] { read(); });
        trap.expectUntouched();
    }
}

TEST_F(ApplicationMetadataTest, ListOfEndlessLengthIsNotRead) {
    writeFile(list(), "");
    std::filesystem::resize_file(list(), (std::uintmax_t{16} << 20U) + 1);
    expectPlatformError(FileErrorCode::readTooLarge, [this] { read(); });
}

} // namespace

} // namespace InstallerCore
