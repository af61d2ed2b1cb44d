#include "hosts/linux/codesign/BundleLayout.h"

#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Testing::addFile;
using Testing::informationList;
using Testing::refusalOf;

void makeApplication(const fs::path& bundle) {
    addFile(bundle / "Contents/Info.plist", informationList("Code"));
    addFile(bundle / "Contents/MacOS/Code");
}

void makeFramework(const fs::path& bundle) {
    for (const char* const version : {"A", "B"}) {
        addFile(bundle / "Versions" / version / "Resources/Info.plist", informationList("Code"));
        addFile(bundle / "Versions" / version / "Code", version);
    }
    fs::create_symlink("B", bundle / "Versions/Current");
    fs::create_symlink("Versions/Current/Code", bundle / "Code");
    fs::create_symlink("Versions/Current/Resources", bundle / "Resources");
}

void makeFlat(const fs::path& bundle) {
    addFile(bundle / "Info.plist", informationList("Code"));
    addFile(bundle / "Code");
}

BundleLayout layoutOf(const fs::path& bundle) {
    return readBundleLayout(BundleDirectory::open(bundle).value());
}

struct Change {
    const char* what;
    std::function<void(const fs::path& bundle)> make;
    const char* refusal; // empty: allowed
};

void check(const std::function<void(const fs::path&)>& makeBundle, const std::vector<Change>& changes) {
    for (const auto& [what, make, refusal] : changes) {
        const Testing::TemporaryDirectory directory;
        makeBundle(directory / "bundle");
        make(directory / "bundle");
        EXPECT_EQ(refusalOf([&] { return layoutOf(directory / "bundle"); }), refusal) << what;
    }
}

class BundleLayoutTest : public testing::Test {
protected:
    Testing::TemporaryDirectory directory;
    fs::path bundle = directory / "bundle";
};

TEST_F(BundleLayoutTest, anApplicationKeepsAllInItsContents) {
    makeApplication(bundle);
    const BundleLayout layout = layoutOf(bundle);
    EXPECT_EQ(layout.base.place(), "Contents/");
    EXPECT_EQ(asText(layout.infoPlist), informationList("Code"));
    EXPECT_EQ(layout.executablePath, "MacOS/Code");
    EXPECT_EQ(asText(layout.executable->bytes()), "content");
    EXPECT_TRUE(layout.otherVersions.empty());
}

TEST_F(BundleLayoutTest, aFrameworkKeepsAllInItsCurrentVersion) {
    makeFramework(bundle);
    const BundleLayout layout = layoutOf(bundle);
    EXPECT_EQ(layout.base.place(), "Versions/B/");
    EXPECT_EQ(layout.executablePath, "Code");
    EXPECT_EQ(asText(layout.executable->bytes()), "B");
    ASSERT_EQ(layout.otherVersions.size(), 1U);
    EXPECT_EQ(layout.otherVersions[0].place(), "Versions/A/");
    EXPECT_EQ(asText(readVersionLayout(layout.otherVersions[0]).executable->bytes()), "A");
}

TEST_F(BundleLayoutTest, anyOtherBundleIsFlat) {
    makeFlat(bundle);
    const BundleLayout layout = layoutOf(bundle);
    EXPECT_EQ(layout.base.place(), "");
    EXPECT_EQ(layout.executablePath, "Code");
    addFile(bundle / "anything");
    EXPECT_EQ(layoutOf(bundle).executablePath, "Code");
}

TEST_F(BundleLayoutTest, theInfoPlistAmongTheResourcesComesFirst) {
    makeFlat(bundle);
    addFile(bundle / "Resources/Info.plist", informationList("Other"));
    addFile(bundle / "Other", "other");
    EXPECT_EQ(layoutOf(bundle).executablePath, "Other");
}

TEST_F(BundleLayoutTest, whatIsAtItsTopSaysWhatABundleIs) {
    EXPECT_FALSE(looksLikeBundle(BundleDirectory::open(directory.path()).value()));
    for (const char* const name : {"Contents", "Versions", "Info.plist", "Resources"}) {
        const Testing::TemporaryDirectory other;
        addFile(other / name);
        EXPECT_TRUE(looksLikeBundle(BundleDirectory::open(other.path()).value())) << name;
    }
}

TEST(ApplicationLayoutTest, itsTopHoldsNothingElse) {
    constexpr const char* outOfPlace = ": does not belong at the top of a bundle";
    const auto add = [](const char* name) { return [name](const fs::path& b) { addFile(b / name); }; };
    const std::string extra = std::string("extra") + outOfPlace;
    const std::string store = std::string(".DS_Store") + outOfPlace;
    const std::string versions = std::string("Versions") + outOfPlace;
    const std::string icon = std::string("Icon") + outOfPlace;
    check(makeApplication,
          {{"a file", add("extra"), extra.c_str()},
           {"a directory", [](const fs::path& b) { fs::create_directory(b / "extra"); }, extra.c_str()},
           {"a link", [](const fs::path& b) { fs::create_symlink("Contents", b / "extra"); }, extra.c_str()},
           {"what makes a framework", [](const fs::path& b) { fs::create_directory(b / "Versions"); },
            versions.c_str()},
           {"an icon without its ending", add("Icon"), icon.c_str()},
           {"a tolerated name of a directory", add(".DS_Store/file"), store.c_str()},
           {"a tolerated name of a link",
            [](const fs::path& b) { fs::create_symlink("Contents", b / ".DS_Store"); }, store.c_str()},
           {"what the Finder leaves", add(".DS_Store"), ""},
           {"what a user chose", add("Icon\r"), ""},
           {"how it is opened", add(".LSOverride"), ""},
           {"how it was installed", add(".SoftwareDepot.tracking"), ""}});
}

TEST(ApplicationLayoutTest, eachPartIsThereAndNoLink) {
    const auto link = [](const char* name) {
        return [name](const fs::path& b) { Testing::replaceByLink(b / name); };
    };
    const auto remove = [](const char* name) {
        return [name](const fs::path& b) { fs::remove_all(b / name); };
    };
    check(
        makeApplication,
        {{"Contents is a link",
          [](const fs::path& b) {
              fs::rename(b / "Contents", b.parent_path() / "c");
              fs::create_symlink("../c", b / "Contents");
          },
          "Contents: is no directory"},
         {"Contents is a file",
          [](const fs::path& b) {
              fs::remove_all(b / "Contents");
              addFile(b / "Contents");
          },
          "Contents: is no directory"},
         {"no Info.plist", remove("Contents/Info.plist"), "Contents/Info.plist: is missing"},
         {"its Info.plist is a link", link("Contents/Info.plist"), "Contents/Info.plist: is no regular file"},
         {"its Info.plist is a FIFO",
          [](const fs::path& b) {
              fs::remove(b / "Contents/Info.plist");
              ASSERT_EQ(::mkfifo((b / "Contents/Info.plist").c_str(), 0600), 0);
          },
          "Contents/Info.plist: is no regular file"},
         {"no directory of executables", remove("Contents/MacOS"), "Contents/MacOS: cannot be read"},
         {"it is a link", link("Contents/MacOS"), "Contents/MacOS: is no directory"},
         {"no executable", remove("Contents/MacOS/Code"), "Contents/MacOS/Code: cannot be read"},
         {"it is a link", link("Contents/MacOS/Code"), "Contents/MacOS/Code: is no regular file"},
         {"it is a directory",
          [](const fs::path& b) {
              fs::remove(b / "Contents/MacOS/Code");
              fs::create_directory(b / "Contents/MacOS/Code");
          },
          "Contents/MacOS/Code: is no regular file"}});
}

TEST(ApplicationLayoutTest, itsExecutableIsAName) {
    constexpr const char* elsewhere = "Contents/Info.plist: names an executable elsewhere";
    constexpr const char* none = "Contents/Info.plist: names no executable";
    const auto naming = [](const char* name) {
        return [name](const fs::path& b) { addFile(b / "Contents/Info.plist", informationList(name)); };
    };
    const auto list = [](const char* text) {
        return [text](const fs::path& b) { addFile(b / "Contents/Info.plist", text); };
    };
    check(makeApplication,
          {{"a path", naming("../MacOS/Code"), elsewhere},
           {"a path down", naming("folder/Code"), elsewhere},
           {"an absolute path", naming("/bin/sh"), elsewhere},
           {"this directory", naming("."), elsewhere},
           {"the one above", naming(".."), elsewhere},
           {"nothing", naming(""), none},
           {"another name", naming("Other"), "Contents/MacOS/Other: cannot be read"},
           {"no key", list("<plist version=\"1.0\"><dict/></plist>"), none},
           {"another kind",
            list("<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><true/></dict></plist>"), none},
           {"no dictionary", list("<plist version=\"1.0\"><array/></plist>"), none},
           {"no property list", list("text"), "Contents/Info.plist: is no property list"}});
}

TEST(FrameworkLayoutTest, itsTopHoldsLinksIntoTheCurrentVersion) {
    const auto link = [](const char* name, const char* target) {
        return [name, target](const fs::path& b) { fs::create_symlink(target, b / name); };
    };
    constexpr const char* outOfPlace = "extra: does not belong at the top of a framework";
    check(makeFramework,
          {{"a file", [](const fs::path& b) { addFile(b / "extra"); }, outOfPlace},
           {"a directory", [](const fs::path& b) { fs::create_directory(b / "extra"); }, outOfPlace},
           {"a link elsewhere", link("extra", "/etc/passwd"), outOfPlace},
           {"a link to another name", link("extra", "Versions/Current/Code"), outOfPlace},
           {"a link into a version by its name", link("extra", "Versions/B/extra"), outOfPlace},
           {"a link with a detour", link("extra", "./Versions/Current/extra"), outOfPlace},
           {"a link below", link("extra", "Versions/Current/extra/extra"), outOfPlace},
           {"a link of the same name", link("extra", "Versions/Current/extra"), ""},
           {"what the Finder leaves", [](const fs::path& b) { addFile(b / ".DS_Store"); }, ""}});
}

TEST(FrameworkLayoutTest, itsCurrentVersionIsBesideTheLink) {
    constexpr const char* noLink = "Versions/Current: is no link to a version";
    constexpr const char* elsewhere = "Versions/Current: does not lead to a version beside it";
    const auto current = [](const char* target) {
        return [target](const fs::path& b) {
            fs::remove(b / "Versions/Current");
            fs::create_symlink(target, b / "Versions/Current");
        };
    };
    check(makeFramework, {{"none", [](const fs::path& b) { fs::remove(b / "Versions/Current"); }, noLink},
                          {"a directory",
                           [](const fs::path& b) {
                               fs::remove(b / "Versions/Current");
                               fs::rename(b / "Versions/B", b / "Versions/Current");
                           },
                           noLink},
                          {"another version", current("A"), ""},
                          {"a version that is missing", current("C"), elsewhere},
                          {"itself", current("Current"), elsewhere},
                          {"the versions", current("."), elsewhere},
                          {"the framework", current(".."), elsewhere},
                          {"a detour", current("./B"), elsewhere},
                          {"a way out", current("../Versions/B"), elsewhere},
                          {"an absolute path", current("/"), elsewhere}});
}

TEST(FrameworkLayoutTest, onlyVersionsAreAmongItsVersions) {
    constexpr const char* outOfPlace = "Versions/C: does not belong among the versions of a framework";
    check(makeFramework,
          {{"a file", [](const fs::path& b) { addFile(b / "Versions/C"); }, outOfPlace},
           {"a link", [](const fs::path& b) { fs::create_symlink("B", b / "Versions/C"); }, outOfPlace},
           {"what the Finder leaves", [](const fs::path& b) { addFile(b / "Versions/.DS_Store"); }, ""},
           {"the versions are elsewhere",
            [](const fs::path& b) {
                fs::rename(b / "Versions", b.parent_path() / "v");
                fs::create_symlink("../v", b / "Versions");
            },
            "Versions: is no directory"}});
}

TEST(FrameworkLayoutTest, eachPartIsThereAndNoLink) {
    check(makeFramework,
          {{"no Info.plist", [](const fs::path& b) { fs::remove_all(b / "Versions/B/Resources"); },
            "Versions/B/Info.plist: is missing"},
           {"its resources are a link",
            [](const fs::path& b) { Testing::replaceByLink(b / "Versions/B/Resources"); },
            "Versions/B/Info.plist: is missing"},
           {"its Info.plist is a link",
            [](const fs::path& b) { Testing::replaceByLink(b / "Versions/B/Resources/Info.plist"); },
            "Versions/B/Resources/Info.plist: is no regular file"},
           {"its executable is a link",
            [](const fs::path& b) { Testing::replaceByLink(b / "Versions/B/Code"); },
            "Versions/B/Code: is no regular file"}});
}

TEST(FlatLayoutTest, itNeedsAnInfoPlistAndAnExecutable) {
    check(
        makeFlat,
        {{"no Info.plist", [](const fs::path& b) { fs::remove(b / "Info.plist"); }, "Info.plist: is missing"},
         {"no executable", [](const fs::path& b) { fs::remove(b / "Code"); }, "Code: cannot be read"},
         {"it is a link", [](const fs::path& b) { Testing::replaceByLink(b / "Code"); },
          "Code: is no regular file"}});
}

} // namespace

} // namespace InstallerCore::CodeSign
