#include "InstallerCore/install/AttachedImage.h"

#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

#include <string>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::FakeProcesses;
using testing::IsEmpty;
using Testing::TestPlatform;

constexpr const char* hdiutil = "/usr/bin/hdiutil";

class AttachedImageTest : public testing::Test {
protected:
    AttachedImageTest() {
        test_.processes.tools[hdiutil] = [this](const FakeProcesses::Arguments& arguments) {
            const bool attaching = arguments.front() == "attach";
            return ProcessResult{.status = attaching ? 0 : detachStatus_,
                                 .output = toBytes(attaching ? output_ : "")};
        };
    }

    // Attaches and detaches; the mount point in between.
    std::string mountPoint() {
        return AttachedImage("/cache/an image.dmg", test_.platform).mountPoint().string();
    }

    // The value of "system-entities" as XML.
    void setEntities(const std::string& value) {
        output_ = "<plist version=\"1.0\"><dict><key>system-entities</key>" + value + "</dict></plist>";
    }

    [[nodiscard]] std::vector<FakeProcesses::Arguments> toolRuns() const {
        std::vector<FakeProcesses::Arguments> runs;
        for (const auto& call : test_.processes.calls) {
            EXPECT_EQ(call.executable, hdiutil);
            EXPECT_EQ(call.errors, Processes::ErrorOutput::inherited);
            runs.push_back(call.arguments);
        }
        return runs;
    }

    static constexpr const char* attached = "<array><dict><key>mount-point</key><string>/Volumes/Kavio"
                                            "</string></dict></array>";

    TestPlatform test_;
    std::string output_;
    int detachStatus_ = 0;
};

TEST_F(AttachedImageTest, ImageIsAttachedReadOnlyAndDetachedInTheEnd) {
    setEntities(attached);
    {
        const AttachedImage image("/cache/an image.dmg", test_.platform);
        EXPECT_EQ(image.mountPoint(), "/Volumes/Kavio");
        EXPECT_THAT(toolRuns(), ElementsAre(ElementsAre("attach", "-readonly", "-nobrowse", "-plist",
                                                        "/cache/an image.dmg")));
    }
    EXPECT_THAT(toolRuns(), ElementsAre(testing::_, ElementsAre("detach", "/Volumes/Kavio")));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(AttachedImageTest, FirstMountPointThatIsATextCounts) {
    const struct {
        const char* entities;
        const char* mountPoint;
    } rows[] = {
        {"<array><dict><key>dev-entry</key><string>/dev/disk4</string></dict>"
         "<dict><key>mount-point</key><integer>1</integer></dict>"
         "<dict><key>mount-point</key><array><string>/no</string></array></dict>"
         "<dict><key>mount-point</key><string>/Volumes/A</string></dict>"
         "<dict><key>mount-point</key><string>/Volumes/B</string></dict></array>",
         "/Volumes/A"},
        {"<array><dict><key>mount-point</key><string>/Volumes/K &amp; \" ' $(x)</string></dict></array>",
         "/Volumes/K & \" ' $(x)"},
        {"<array><dict><key>mount-point</key><string></string></dict>"
         "<dict><key>mount-point</key><string>/Volumes/B</string></dict></array>",
         ""},
    };

    for (const auto& row : rows) {
        setEntities(row.entities);
        EXPECT_EQ(mountPoint(), row.mountPoint);
        EXPECT_THAT(toolRuns().back(), ElementsAre("detach", row.mountPoint));
    }
}

TEST_F(AttachedImageTest, OutputOfAnotherShapeLeavesTheImageAttached) {
    for (const char* entities :
         {"<dict><key>mount-point</key><string>/Volumes/A</string></dict>", "<string>/Volumes/A</string>",
          "<array/>", "<array><string>/Volumes/A</string></array>", "<array><dict/></array>",
          "<array><dict><key>mount-point</key><data>YQ==</data></dict></array>",
          // One wrong entry makes it no array of dictionaries.
          "<array><dict><key>mount-point</key><string>/Volumes/A</string></dict><string>x</string></"
          "array>"}) {
        SCOPED_TRACE(entities);
        setEntities(entities);
        expectInstallerError("Cannot mount application package", [this] { mountPoint(); });
    }
    for (const char* value :
         {"<array/>", "<dict/>", "<string>x</string>", "<dict><key>System-Entities</key><array/></dict>"}) {
        SCOPED_TRACE(value);
        output_ = std::string("<plist version=\"1.0\">") + value + "</plist>";
        expectInstallerError("Cannot mount application package", [this] { mountPoint(); });
    }
    for (const char* text : {"", "/dev/disk4 /Volumes/A", "<plist><dict>"}) {
        output_ = text;
        expectPlatformError(PropertyListErrorCode::corrupt, [this] { mountPoint(); });
    }
    for (const auto& run : toolRuns()) {
        EXPECT_EQ(run.front(), "attach");
    }
}

TEST_F(AttachedImageTest, ToolThatFailsHasAttachedNothing) {
    setEntities(attached);
    for (const int status : {1, 9, 255}) {
        test_.processes.tools[hdiutil] = [&](const FakeProcesses::Arguments&) {
            return ProcessResult{.status = status, .output = toBytes(output_)};
        };
        expectInstallerError(
            "System verification or installation failed (hdiutil: " + std::to_string(status) + ")",
            [this] { mountPoint(); });
    }
    test_.processes.tools.clear();
    expectPlatformError(ProcessErrorCode::noSuchExecutable, [this] { mountPoint(); });
    EXPECT_EQ(toolRuns().size(), 4U);
}

TEST_F(AttachedImageTest, FailureToDetachIsOnlyLogged) {
    setEntities(attached);
    detachStatus_ = 16;
    EXPECT_EQ(mountPoint(), "/Volumes/Kavio");
    EXPECT_THAT(test_.log.lines(),
                ElementsAre("Installer: unable to detach image: System verification or installation failed "
                            "(hdiutil: 16)"));
}

TEST_F(AttachedImageTest, ToolThatCannotBeStartedAgainIsOnlyLogged) {
    setEntities(attached);
    {
        const AttachedImage image("/image", test_.platform);
        test_.processes.tools.clear();
    }
    EXPECT_THAT(test_.log.lines(),
                ElementsAre("Installer: unable to detach image: The program does not exist."));
}

} // namespace

} // namespace InstallerCore
