#include "rehearsal/HfsVolume.h"
#include "tests/hosts/linux/tools/HdiutilFixture.h"
#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <fstream>
#include <tuple>

namespace InstallerCore {

namespace {

using namespace Testing;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

// What of a volume appears, and which volumes are refused.
class HdiutilContentTest : public HdiutilFixture {
protected:
    [[nodiscard]] fs::path mountMacImage(const std::string& name, const std::string& remark = "") const {
        const TracedEnd end = attach(fs::path(KAVIO_MAC_IMAGES) / name);
        EXPECT_EQ(end.status, 0);
        EXPECT_EQ(end.errors, remark);
        const auto points = mountPointsIn(end.output);
        return points.size() == 1 ? fs::path(points.front()) : fs::path();
    }
};

std::string attribute(const fs::path& file, const std::string& name) {
    std::array<char, 65'536> value{};
    const ssize_t size = ::getxattr(file.c_str(), name.c_str(), value.data(), value.size());
    return size < 0 ? "none" : std::string(value.data(), static_cast<std::size_t>(size));
}

TEST_F(HdiutilContentTest, NamesLinksAndModesAreThoseOfTheVolume) {
    const std::string accent = "na\u0308me"; // decomposed, as the volume stores it
    std::vector<std::string> expected;
    const fs::path place = mount(makeImage("odd.dmg", [&](const fs::path& content) {
        unsigned mode = 0400;
        for (const std::string& name :
             {std::string("new\nline"), std::string("back\\slash"), std::string("co:lon"),
              std::string("quo\"te'"), std::string("-dash"), std::string(" sp ace "), std::string("tab\t"),
              std::string("Path = x"), std::string("under_score"), std::string("esc\033[1m"),
              std::string("cr\r"), std::string("----------"), accent, std::string(200, 'x')}) {
            writeFile(content / name, "content of " + name);
            fs::permissions(content / name, fs::perms(mode++));
        }
        fs::create_directories(content / "a/b/c");
        writeFile(content / "a/b/c/empty", "");
        fs::permissions(content / "a/b/c", fs::perms{0500});
        fs::create_symlink("/Applications", content / "Applications");
        fs::create_symlink("../../outside", content / "a/up");
        fs::create_symlink("a:b\nc", content / "dangling");
        fs::create_symlink("b", content / "a/folder");
        expected = describeTree(content);
    }));
    EXPECT_EQ(describeTree(place), expected);
}

TEST_F(HdiutilContentTest, PrivilegedBitsAreDropped) {
    const fs::path place = mount(makeImage("bits.dmg", [](const fs::path& content) {
        writeFile(content / "set-uid", "");
        writeFile(content / "set-gid", "");
        fs::create_directory(content / "sticky");
        fs::permissions(content / "set-uid", fs::perms{04755});
        fs::permissions(content / "set-gid", fs::perms{02711});
        fs::permissions(content / "sticky", fs::perms{01777});
    }));
    for (const auto& [name, mode] : {std::pair("set-uid", 0755U), {"set-gid", 0711U}, {"sticky", 0777U}}) {
        struct stat status{};
        ASSERT_EQ(::stat((place / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, mode) << name;
        EXPECT_EQ(status.st_uid, ::geteuid());
    }
}

TEST_F(HdiutilContentTest, TimesAreThoseOfTheVolume) {
    const fs::path place = mount(makeImage("times.dmg", [](const fs::path& content) {
        fs::create_directory(content / "folder");
        writeFile(content / "folder/file", "x");
        for (const char* const name : {"folder/file", "folder"}) {
            const std::array<timespec, 2> times{timespec{1'000'000'000, 0}, timespec{1'000'000'000, 0}};
            ASSERT_EQ(::utimensat(AT_FDCWD, (content / name).c_str(), times.data(), 0), 0);
        }
    }));
    for (const char* const name : {"folder/file", "folder"}) {
        struct stat status{};
        ASSERT_EQ(::stat((place / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mtim.tv_sec, 1'000'000'000) << name;
    }
}

TEST_F(HdiutilContentTest, TheNameOfTheVolumeMayBeOddAsWell) {
    const auto nothing = [](const fs::path& content) { writeFile(content / "file", ""); };
    EXPECT_EQ(mount(makeImage("0.dmg", nothing, "A & B <c>")), volumes_ / "A & B <c>");
    EXPECT_EQ(mount(makeImage("1.dmg", nothing, ".images")), volumes_ / ".images 1");
    EXPECT_EQ(mount(makeImage("2.dmg", nothing, "-plist")), volumes_ / "-plist");
}

TEST_F(HdiutilContentTest, ThousandsOfFilesAppearWhole) {
    constexpr int count = 2'000;
    const fs::path place = mount(makeImage("many.dmg", [](const fs::path& content) {
        for (int index = 0; index < count; ++index) {
            const fs::path folder = content / std::to_string(index % 40);
            fs::create_directories(folder);
            writeFile(folder / std::to_string(index),
                      std::string(static_cast<std::size_t>(index), 'x') + "end");
        }
    }));
    for (int index = 0; index < count; ++index) {
        const std::string content = readFile(place / std::to_string(index % 40) / std::to_string(index));
        ASSERT_EQ(content, std::string(static_cast<std::size_t>(index), 'x') + "end");
    }
}

TEST_F(HdiutilContentTest, HostileNamesAreRefused) {
    using namespace std::string_literals;

    struct Case {
        std::u16string name; // instead of "folder/victim"
        std::string sentence;
    };

    const std::string twice = " is there twice, or differs from another name only in case or composition";
    const Case cases[] = {
        {u"README"s, "\"folder/README\"" + twice},
        {u"readme"s, "\"folder/readme\"" + twice},
        {u"..:..:"s, "the volume holds a name with a path separator in it"},
        {u"a\0b.cd"s, "the listing of the volume does not match the volume"},
        {u"\xd800xxxxx"s, "the volume holds a name that is not Unicode"},
    };
    int number = 0;
    for (const Case& hostile : cases) {
        SCOPED_TRACE(number);
        expectRefusal(makeSpoiltImage(
                          std::to_string(++number) + ".dmg",
                          [](const fs::path& content) {
                              fs::create_directory(content / "folder");
                              writeFile(content / "folder/readme", "");
                              writeFile(content / "folder/victim", "");
                          },
                          u"victim", hostile.name),
                      hostile.sentence);
    }
}

TEST_F(HdiutilContentTest, NamesThatWouldLeaveTheVolumeAreRefused) {
    // The volume stores the length before a name.
    for (const auto& [name, stored, spoilt] : {std::tuple("xq", u"\2xq", u"\2.."), {"z", u"\1z", u"\1."}}) {
        const std::string dots = name == std::string("z") ? "." : "..";
        expectRefusal(makeSpoiltImage(
                          dots + "dmg",
                          [&](const fs::path& content) {
                              fs::create_directory(content / name);
                              writeFile(content / name / "file", "");
                          },
                          stored, spoilt),
                      "\"" + dots + "\" would lie outside the volume");
    }
}

TEST_F(HdiutilContentTest, CompositionDoesNotMakeAName) {
    expectRefusal(makeSpoiltImage(
                      "composed.dmg",
                      [](const fs::path& content) {
                          writeFile(content / "e\u0301", "");
                          writeFile(content / "Xx", "");
                      },
                      u"Xx", u"E\u0301"),
                  "\"E\u0301\" is there twice, or differs from another name only in case or composition");
}

TEST_F(HdiutilContentTest, SpecialFilesAreRefused) {
    expectRefusal(
        makeImage("pipe.dmg",
                  [](const fs::path& content) { ASSERT_EQ(::mkfifo((content / "pipe").c_str(), 0600), 0); }),
        "\"pipe\" is neither a file nor a folder nor a link");
}

TEST_F(HdiutilContentTest, WhatIsNoImageIsRefused) {
    const std::string missing = directory_ / "missing.dmg";
    expectRefusal(missing, "\"" + missing + "\" cannot be opened: No such file or directory");
    expectRefusal(directory_.path(), "\"" + directory_.path().string() + "\" is not a file");
    const fs::path pipe = directory_ / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    expectRefusal(pipe, "\"" + pipe.string() + "\" is not a file");
}

TEST_F(HdiutilContentTest, ADiskWithoutAVolumeIsRefused) {
    writeFile(directory_ / "raw", std::string(65'536, 'x'));
    Rehearsal::writeUdif(directory_ / "raw", directory_ / "none.dmg", {});
    expectRefusal(directory_ / "none.dmg", "there is no volume in it");
}

TEST_F(HdiutilContentTest, AVolumeThatEndsTooEarlyIsRefused) {
    const TemporaryDirectory content;
    writeFile(content / "file", std::string(300'000, 'x'));
    Rehearsal::makeHfsVolume(content.path(), "Kavio", directory_ / "raw");
    fs::resize_file(directory_ / "raw", 131'072);
    Rehearsal::writeUdif(directory_ / "raw", directory_ / "short.dmg", {});
    const TracedEnd end = attach(directory_ / "short.dmg");
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(end.errors.starts_with("hdiutil: attach failed - ")) << end.errors;
    EXPECT_EQ(volumes(), Names());
    EXPECT_EQ(state(), Names());
}

TEST_F(HdiutilContentTest, AFlippedByteIsRefused) {
    const fs::path image = makeImage("flipped.dmg", [](const fs::path& content) {
        writeFile(content / "file", std::string(100'000, 'x'));
    });
    std::fstream file(image, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(200);
    const int byte = file.get();
    file.seekp(200);
    file.put(static_cast<char>(byte ^ 1));
    file.close();
    const TracedEnd end = attach(image);
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(end.errors.starts_with("hdiutil: attach failed - ")) << end.errors;
    EXPECT_EQ(state(), Names());
}

TEST_F(HdiutilContentTest, AFullDiskIsASentence) {
    const fs::path image = makeImage("large.dmg", [](const fs::path& content) {
        for (int index = 0; index < 64; ++index) { // compresses well
            writeFile(content / std::to_string(index), std::string(100'000, static_cast<char>('A' + index)));
        }
    });
    fs::create_directory(volumes_);
    runInChild([&] {
        // The decoded disk has room, and then its files have not.
        if (!mountVolume(volumes_, "size=9m")) {
            GTEST_SKIP() << "mount is not permitted";
        }
        const TracedEnd end = attach(image);
        EXPECT_EQ(end.status, 1);
        EXPECT_TRUE(end.errors.ends_with("cannot be written: No space left on device\n")) << end.errors;
        EXPECT_EQ(volumes(), Names());
        EXPECT_EQ(state(), Names());
    });
}

TEST_F(HdiutilContentTest, HfsVolumesThatMacOSWroteAppearAsOnAMac) {
    for (const char* const name :
         {"keramics-hfsplus_zlib.dmg", "keramics-hfsplus_bzip2.dmg", "keramics-hfsplus_lzfse.dmg"}) {
        SCOPED_TRACE(name);
        if (!fs::exists(fs::path(KAVIO_MAC_IMAGES) / name)) {
            GTEST_SKIP() << "no images that macOS wrote";
        }
        const TracedEnd end = attach(fs::path(KAVIO_MAC_IMAGES) / name);
        ASSERT_EQ(end.status, 0) << end.errors;
        const auto points = mountPointsIn(end.output);
        ASSERT_EQ(points.size(), 1U);
        const fs::path place = points.front();
        EXPECT_EQ(place, volumes_ / "hfsplus_test");
        EXPECT_EQ(
            describeTree(place),
            (Names{"case_folding_\u00b5 =  420", "directory_symboliclink1 -> /Volumes/hfsplus_test/testdir1",
                   "emptyfile =  420", "file_hardlink1 = Keramics\n 420",
                   "file_symboliclink1 -> /Volumes/hfsplus_test/testdir1/testfile1",
                   "file_symboliclink2 -> /Volumes/hfsplus_test/forward:slash", "forward:slash =  420",
                   "nfc_te\u0301stfile\u0300 =  420", "nfd_te\u0301stfile\u0300 =  420", "nfd_\u00be =  420",
                   "nfkd_3\u20444 =  420", "testdir1 493", "testdir1/large_xattr =  420",
                   "testdir1/resourcefork1 =  420", "testdir1/testfile1 = Keramics\n 420",
                   "testdir1/xattr1 =  420", "testdir1/xattr2 493"}));
        EXPECT_TRUE(fs::equivalent(place / "file_hardlink1", place / "testdir1/testfile1"));
        EXPECT_EQ(attribute(place / "testdir1/xattr1", "user.myxattr1"), "My 1st extended attribute");
        EXPECT_EQ(attribute(place / "testdir1/xattr2", "user.myxattr2"), "My 2nd extended attribute");
        EXPECT_EQ(attribute(place / "testdir1/resourcefork1", "user.com.apple.ResourceFork"),
                  "My resource fork\n");
        // Not every file system has room for it; then the tool says so.
        const bool fits = attribute(place / "testdir1/large_xattr", "user.mylargexattr").size() == 8'158;
        EXPECT_EQ(end.errors, fits ? "" : "hdiutil: extended attributes left out: 1\n");
        EXPECT_EQ(detach(place).status, 0);
    }
}

TEST_F(HdiutilContentTest, AnApfsVolumeThatMacOSWroteAppearsAsOnAMac) {
    const std::string name = "SparkleTestCodeSign_apfs.dmg";
    if (!fs::exists(fs::path(KAVIO_MAC_IMAGES) / name)) {
        GTEST_SKIP() << "no images that macOS wrote";
    }
    const fs::path place = mountMacImage(name);
    EXPECT_EQ(place, volumes_ / "SparkleTest");
    EXPECT_EQ(fs::read_symlink(place / "Applications"), "/Applications");
    const fs::path framework = place / "SparkleTestCodeSignApp.app/Contents/Frameworks/Sparkle.framework";
    EXPECT_EQ(fs::read_symlink(framework / "Versions/Current"), "A");
    EXPECT_EQ(readFile(framework / "Versions/A/Modules/module.modulemap").size(), 95U);
    const auto entities = run({"info", "-plist"}).output;
    for (const char* const text :
         {"GUID_partition_scheme", "<string>Apple_APFS</string>", "/dev/disk4s1", "/dev/disk5s1",
          "EF57347C-0000-11AA-AA11-00306543ECAC", "41504653-0000-11AA-AA11-00306543ECAC"}) {
        EXPECT_NE(entities.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(detach(place).status, 0);
    EXPECT_EQ(volumes(), Names());
}

} // namespace

} // namespace InstallerCore
