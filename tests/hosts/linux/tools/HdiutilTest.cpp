#include "hosts/posix/Descriptor.h"
#include "tests/hosts/linux/tools/HdiutilFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Trap.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace InstallerCore {

namespace {

using namespace Testing;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class HdiutilTest : public HdiutilFixture {};

constexpr const char* usage =
    "usage: hdiutil attach -readonly -nobrowse -plist IMAGE | detach MOUNT | info -plist\n";

constexpr const char* documentHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)";

TEST_F(HdiutilTest, AnyOtherCommandLineGetsTheUsage) {
    const std::vector<Names> commands = {
        {},
        {"attach"},
        {"attach", "image.dmg"},
        {"attach", "-readonly", "-nobrowse", "image.dmg", "-plist"},
        {"attach", "-readonly", "-nobrowse", "-plist"},
        {"attach", "-readonly", "-nobrowse", "-plist", "image.dmg", "more"},
        {"detach"},
        {"detach", "/Volumes/Kavio", "-force"},
        {"info"},
        {"info", "-plist", "more"},
        {"mount", "image.dmg"},
    };
    for (const Names& arguments : commands) {
        const TracedEnd end = run(arguments);
        EXPECT_EQ(end.status, 1);
        EXPECT_EQ(end.output, "");
        EXPECT_EQ(end.errors, usage);
    }
    EXPECT_FALSE(fs::exists(volumes_));
}

TEST_F(HdiutilTest, WorksOnlyWhereItIsInstalled) {
    fs::rename(root_ / "usr/bin/hdiutil", root_ / "usr/bin/other");
    fs::create_symlink("other", root_ / "usr/bin/hdiutil"); // a link says nothing about the place
    const TracedEnd end = run({"info", "-plist"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(
        end.errors,
        "hdiutil: this program works only where it is installed as usr/bin/hdiutil of a root directory\n");
}

TEST_F(HdiutilTest, AttachShowsTheVolumeAndPrintsItsTable) {
    const fs::path image = makeSmallImage();
    const TracedEnd end = attach(image);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.errors, "");
    EXPECT_EQ(end.output, documentHead + std::string(R"(<dict>
	<key>system-entities</key>
	<array>
		<dict>
			<key>content-hint</key>
			<string>Apple_HFS</string>
			<key>dev-entry</key>
			<string>/dev/disk4</string>
			<key>mount-point</key>
			<string>)") +
                              (volumes_ / "Kavio").string() + R"(</string>
			<key>potentially-mountable</key>
			<true/>
			<key>unmapped-content-hint</key>
			<string>Apple_HFS</string>
			<key>volume-kind</key>
			<string>hfs</string>
		</dict>
	</array>
</dict>
</plist>
)");
    EXPECT_EQ(readFile(volumes_ / "Kavio/read me"), "text");
    EXPECT_EQ(fs::read_symlink(volumes_ / "Kavio/Applications"), "/Applications");
    EXPECT_EQ(permissionsOf(volumes_ / "Kavio"), 0555U);
    EXPECT_EQ(permissionsOf(volumes_ / ".images"), 0700U);
    EXPECT_EQ(state().size(), 1U) << "the record alone";
}

TEST_F(HdiutilTest, InfoListsWhatIsAttached) {
    const std::string nothing = documentHead + std::string(R"(<dict>
	<key>framework</key>
	<string>1</string>
	<key>images</key>
	<array>
	</array>
</dict>
</plist>
)");
    EXPECT_EQ(run({"info", "-plist"}).output, nothing);
    EXPECT_FALSE(fs::exists(volumes_)) << "asking makes nothing";
    const fs::path first = mount(makeSmallImage("a & b.dmg"));
    const fs::path second = mount(makeSmallImage("<second>.dmg", "other"));
    const TracedEnd end = run({"info", "-plist"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(mountPointsIn(end.output), (Names{first, second}));
    EXPECT_NE(end.output.find("<string>" + (directory_ / "a &amp; b.dmg").string() + "</string>"),
              std::string::npos);
    EXPECT_NE(end.output.find("/&lt;second&gt;.dmg</string>"), std::string::npos);
    EXPECT_NE(end.output.find("<key>writeable</key>\n\t\t\t<false/>"), std::string::npos);
    EXPECT_EQ(detach(first).status, 0);
    EXPECT_EQ(mountPointsIn(run({"info", "-plist"}).output), Names{second});
    EXPECT_EQ(detach(second).status, 0);
    EXPECT_EQ(run({"info", "-plist"}).output, nothing);
}

TEST_F(HdiutilTest, DetachTakesTheVolumeAwayAndLeavesNothing) {
    const fs::path place = mount(makeSmallImage());
    const TracedEnd end = detach(place.string() + "/");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output + end.errors, "");
    EXPECT_EQ(volumes(), Names());
    EXPECT_EQ(state(), Names());
}

TEST_F(HdiutilTest, WhatIsNoMountPointCannotBeDetached) {
    const fs::path place = mount(makeSmallImage());
    fs::create_directory(volumes_ / "mine");
    fs::create_directory_symlink(place, directory_ / "link");
    for (const fs::path& other :
         {volumes_ / "mine", volumes_ / "absent", volumes_, place / "read me", directory_ / "link"}) {
        const TracedEnd end = detach(other);
        EXPECT_EQ(end.status, 1);
        EXPECT_EQ(end.errors, "hdiutil: detach failed - \"" + other.string() +
                                  "\" is not a mounted volume of an image\n");
    }
    EXPECT_EQ(volumes(), (Names{"Kavio", "mine"}));
}

TEST_F(HdiutilTest, TwoAttachesOfOneImageShareOneMount) {
    const fs::path image = makeSmallImage();
    const TracedEnd first = attach(image);
    fs::create_symlink(image, directory_ / "link.dmg");
    const TracedEnd second = attach(directory_ / "link.dmg");
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(second.output, first.output);
    EXPECT_EQ(volumes(), Names{"Kavio"});
    EXPECT_EQ(detach(volumes_ / "Kavio").status, 0);
    EXPECT_EQ(volumes(), Names());
}

TEST_F(HdiutilTest, OtherContentAtTheSamePathIsAnotherImage) {
    const fs::path image = makeSmallImage();
    EXPECT_EQ(mount(image), volumes_ / "Kavio");
    fs::rename(image, directory_ / "old.dmg"); // so that no number of a file is used again
    makeSmallImage("small.dmg", "newer text");
    EXPECT_EQ(mount(image), volumes_ / "Kavio 1");
    EXPECT_EQ(readFile(volumes_ / "Kavio/read me"), "text");
    EXPECT_EQ(readFile(volumes_ / "Kavio 1/read me"), "newer text");
}

// The file itself, its size and its date are as before.
TEST_F(HdiutilTest, OtherContentUnderTheSameDateIsAnotherImage) {
    const fs::path image = makeSmallImage();
    const auto date = fs::last_write_time(image);
    const std::string content = readFile(image);
    EXPECT_EQ(mount(image), volumes_ / "Kavio");
    std::ofstream(image, std::ios::binary | std::ios::in) << content;
    fs::last_write_time(image, date);
    EXPECT_EQ(mount(image), volumes_ / "Kavio 1");
}

TEST_F(HdiutilTest, TakenNamesGetNumbers) {
    EXPECT_EQ(mount(makeSmallImage("0.dmg")), volumes_ / "Kavio");
    EXPECT_EQ(mount(makeSmallImage("1.dmg")), volumes_ / "Kavio 1");
    EXPECT_EQ(mount(makeSmallImage("2.dmg")), volumes_ / "Kavio 2");
    EXPECT_EQ(detach(volumes_ / "Kavio 1").status, 0);
    EXPECT_EQ(mount(makeSmallImage("3.dmg")), volumes_ / "Kavio 1");
}

TEST_F(HdiutilTest, WhateverHasTheNameIsNeitherUsedNorTouched) {
    const fs::path image = makeSmallImage();
    fs::create_directory(volumes_);
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(volumes_ / "Kavio", kind);
        EXPECT_EQ(mount(image), volumes_ / "Kavio 1");
        EXPECT_EQ(detach(volumes_ / "Kavio 1").status, 0);
        trap.expectUntouched();
        fs::remove_all(volumes_ / "Kavio");
    }
}

TEST_F(HdiutilTest, AVolumeThatSomebodyRemovedComesBack) {
    const fs::path image = makeSmallImage();
    const fs::path place = mount(image);
    fs::permissions(place, fs::perms::owner_all);
    fs::remove_all(place);
    EXPECT_EQ(mount(image), place);
    fs::permissions(place, fs::perms::owner_all);
    fs::remove_all(place);
    EXPECT_EQ(detach(place).status, 0) << "what is gone can be detached by its name";
    EXPECT_EQ(state(), Names());
}

TEST_F(HdiutilTest, AVolumeInUseStays) {
    const fs::path place = mount(makeSmallImage());
    const std::vector<std::pair<const char*, std::function<bool()>>> uses = {
        {"working directory", [&] { return ::chdir(place.c_str()) == 0; }},
        {"open file", [&] { return ::open((place / "read me").c_str(), O_RDONLY | O_CLOEXEC) >= 0; }},
    };
    for (const auto& [name, use] : uses) {
        SCOPED_TRACE(name);
        const WaitingChild child(use);
        ASSERT_TRUE(child.result());
        const std::vector<std::string> before = describeTree(volumes_);
        const TracedEnd end = detach(place);
        EXPECT_EQ(end.status, 16);
        EXPECT_EQ(end.errors, "hdiutil: couldn't unmount \"" + place.string() + "\" - Resource busy\n");
        EXPECT_EQ(describeTree(volumes_), before);
    }
    EXPECT_EQ(detach(place).status, 0);
}

TEST_F(HdiutilTest, AVolumeWithARunningProgramStays) {
    const fs::path place = mount(makeImage(
        "program.dmg", [](const fs::path& content) { fs::copy_file("/bin/cat", content / "cat"); }));
    Program program({place / "cat"});
    ASSERT_TRUE(program.echoes());
    EXPECT_EQ(detach(place).status, 16);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(detach(place).status, 0);
}

TEST_F(HdiutilTest, ANeighbourInUseIsNoReason) {
    const fs::path first = mount(makeSmallImage("0.dmg"));
    const fs::path second = mount(makeSmallImage("1.dmg"));
    const WaitingChild child([&] { return ::chdir(second.c_str()) == 0; });
    ASSERT_TRUE(child.result());
    EXPECT_EQ(detach(first).status, 0) << "\"Kavio 1\" begins like \"Kavio\"";
    EXPECT_EQ(detach(second).status, 16);
}

TEST_F(HdiutilTest, AttachesAtTheSameTimeShareOneMount) {
    const fs::path image = makeSmallImage();
    const std::string attaching = (root_ / "usr/bin/hdiutil").string() +
                                  " attach -readonly -nobrowse -plist " + image.string() + " > " +
                                  directory_.path().string();
    ASSERT_EQ(std::system((attaching + "/0 & " + attaching + "/1 & wait").c_str()), 0);
    EXPECT_EQ(mountPointsIn(readFile(directory_ / "0")), Names{volumes_ / "Kavio"});
    EXPECT_EQ(readFile(directory_ / "0"), readFile(directory_ / "1"));
    EXPECT_EQ(volumes(), Names{"Kavio"});
}

TEST_F(HdiutilTest, VolumesOfOneImageComeAndGoTogether) {
    const fs::path image = makePartitionedImage();
    const TracedEnd end = attach(image);
    ASSERT_EQ(end.status, 0) << end.errors;
    EXPECT_EQ(mountPointsIn(end.output), (Names{volumes_ / "Twin", volumes_ / "Twin 1"}));
    for (const char* const text : {"Apple_partition_scheme", "Apple_partition_map", "/dev/disk4s1<",
                                   "/dev/disk4s2<", "/dev/disk4s3<"}) {
        EXPECT_NE(end.output.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(readFile(volumes_ / "Twin/name"), "first");
    EXPECT_EQ(readFile(volumes_ / "Twin 1/name"), "second");
    {
        const WaitingChild child([&] { return ::chdir((volumes_ / "Twin 1").c_str()) == 0; });
        ASSERT_TRUE(child.result());
        EXPECT_EQ(detach(volumes_ / "Twin").status, 16) << "another volume of the image is in use";
        EXPECT_EQ(volumes(), (Names{"Twin", "Twin 1"}));
    }
    EXPECT_EQ(detach(volumes_ / "Twin 1").status, 0);
    EXPECT_EQ(volumes(), Names());
    EXPECT_EQ(state(), Names());
}

TEST_F(HdiutilTest, AForeignOrPlantedStateIsRefused) {
    const fs::path image = makeSmallImage();
    const fs::path elsewhere = directory_ / "elsewhere";
    fs::create_directory(elsewhere);
    fs::create_directory(volumes_);
    fs::create_directory_symlink(elsewhere, volumes_ / ".images");
    const TracedEnd end = attach(image);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.errors, "hdiutil: attach failed - the directory \"" + (volumes_ / ".images").string() +
                              "\" cannot be used: Not a directory\n");
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

} // namespace

} // namespace InstallerCore
