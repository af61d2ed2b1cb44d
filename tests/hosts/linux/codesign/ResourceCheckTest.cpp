#include "hosts/linux/codesign/ResourceCheck.h"

#include "tests/hosts/linux/codesign/BundleFixture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Testing::addFile;
using Testing::flipByte;

constexpr const char* resource = "Contents/Resources/Kavio.txt";
constexpr const char* link = "Contents/Resources/Current.txt";
constexpr const char* framework = "Contents/Frameworks/KavioKit.framework";
constexpr const char* helper = "Contents/Helpers/KavioHelper";
constexpr const char* language = "Contents/Resources/en.lproj/Localizable.strings";

std::string refusal(const std::string& place, const std::string& rule) {
    return place + ": " + rule;
}

std::string unsealed(const std::string& place) {
    return refusal(place, "is there, and not sealed");
}

std::string missing(const std::string& place) {
    return refusal(place, "is sealed, and missing");
}

std::string altered(const std::string& place) {
    return refusal(place, "does not have its sealed content");
}

std::string otherKind(const std::string& place) {
    return refusal(place, "is not the kind of entry that was sealed");
}

void linkTo(const fs::path& entry, const char* target) {
    fs::remove_all(entry);
    fs::create_symlink(target, entry);
}

void makeFifo(const fs::path& entry) {
    fs::remove(entry);
    ASSERT_EQ(::mkfifo(entry.c_str(), 0600), 0);
}

class ResourceCheckTest : public Testing::BundleFixture {};

TEST_F(ResourceCheckTest, whatIsSealedIsValid) {
    check({{"nothing", [](const fs::path&) {}, ""}});
}

TEST_F(ResourceCheckTest, aFileHasItsSealedContent) {
    check(
        {{"a byte", [](const fs::path& b) { flipByte(b / resource, 0); }, altered(resource)},
         {"less", [](const fs::path& b) { addFile(b / resource, ""); }, altered(resource)},
         {"more", [](const fs::path& b) { addFile(b / "Contents/Resources/Empty.txt", "a"); },
          altered("Contents/Resources/Empty.txt")},
         {"an optional one", [](const fs::path& b) { flipByte(b / language, 0); }, altered(language)},
         {"a program for another system", [](const fs::path& b) { flipByte(b / "Contents/Linux/Kavio", 0); },
          altered("Contents/Linux/Kavio")},
         {"what is at another place",
          [](const fs::path& b) { fs::rename(b / "Contents/Linux/Kavio", b / resource); },
          altered(resource)}});
}

TEST_F(ResourceCheckTest, everyEntryIsSealed) {
    const auto add = [](const char* place) { return [place](const fs::path& b) { addFile(b / place); }; };
    const char* const files[] = {"Contents/extra",
                                 "Contents/extra.txt",
                                 "Contents/Resources/extra",
                                 "Contents/Resources/en.lproj/extra",
                                 "Contents/MacOS/extra",
                                 "Contents/Frameworks/extra",
                                 "Contents/Frameworks/folder/extra",
                                 "Contents/Resources/deep/in/it/extra",
                                 "Contents/Resources/Info.plist",
                                 "Contents/Resources/PkgInfo",
                                 "Contents/Resources/_CodeSignature/extra",
                                 "Contents/Resources/CodeResources",
                                 "Contents/MacOS/.DS_Store~",
                                 "Contents/.DS_Store/extra",
                                 "Contents/_CodeSignature2",
                                 "Contents/_MASReceipts/receipt"};
    for (const char* const file : files) {
        check({{file, add(file), unsealed(file)}});
    }
    check({{"a link", [](const fs::path& b) { linkTo(b / "Contents/Resources/extra", "Kavio.txt"); },
            unsealed("Contents/Resources/extra")},
           {"a directory that could be code",
            [](const fs::path& b) { fs::create_directory(b / "Contents/Frameworks/Extra.framework"); },
            unsealed("Contents/Frameworks/Extra.framework")},
           {"a FIFO", [](const fs::path& b) { makeFifo(b / "Contents/Resources/extra"); },
            refusal("Contents/Resources/extra", "is neither a file nor a directory nor a link")},
           {"a FIFO that could be left out", [](const fs::path& b) { makeFifo(b / "Contents/.DS_Store"); },
            refusal("Contents/.DS_Store", "is neither a file nor a directory nor a link")}});
}

TEST_F(ResourceCheckTest, everySealHasItsEntry) {
    const auto remove = [](const char* place) {
        return [place](const fs::path& b) { fs::remove_all(b / place); };
    };
    for (const char* const place : {resource, link, framework, helper, "Contents/Resources/Empty.txt"}) {
        check({{place, remove(place), missing(place)}});
    }
    check({{"a directory", remove("Contents/Linux"), missing("Contents/Linux/Kavio")}});
}

TEST_F(ResourceCheckTest, namesCompareByteForByte) {
    const auto rename = [](const char* from, const char* to) {
        return [from, to](const fs::path& b) { fs::rename(b / from, b / to); };
    };
    constexpr const char* composed = "Contents/Resources/Names/Gr\u00FC\u00dfe & 'more' $HOME.txt";
    check({{"in case", rename(resource, "Contents/Resources/KAVIO.txt"),
            unsealed("Contents/Resources/KAVIO.txt")},
           {"in the form of an accent",
            rename("Contents/Resources/Names/Gru\u0308\u00dfe & 'more' $HOME.txt", composed),
            unsealed(composed)},
           {"in their length", rename(resource, "Contents/Resources/Kavio.tx"),
            unsealed("Contents/Resources/Kavio.tx")}});
}

TEST_F(ResourceCheckTest, aLineBreakInANameHidesNothing) {
    const auto add = [](const char* place) { return [place](const fs::path& b) { addFile(b / place); }; };
    check({{"before", add("Contents/a\nInfo.plist"), unsealed("Contents/a?Info.plist")},
           {"behind", add("Contents/Info.plist\n"), unsealed("Contents/Info.plist?")},
           {"deeper", add("Contents/Resources/a\n.DS_Store"), unsealed("Contents/Resources/a?.DS_Store")},
           {"no text", add("Contents/Resources/\xFF"), unsealed("Contents/Resources/\xFF")}});
}

TEST_F(ResourceCheckTest, anEntryIsOfTheKindThatWasSealed) {
    const auto toDirectory = [](const char* place) {
        return [place](const fs::path& b) {
            fs::remove_all(b / place);
            fs::create_directory(b / place);
        };
    };
    check({{"a file to a link to it", [](const fs::path& b) { Testing::replaceByLink(b / resource); },
            otherKind(resource)},
           {"a file to a directory", toDirectory(resource), otherKind(resource)},
           {"a file to a FIFO", [](const fs::path& b) { makeFifo(b / resource); }, otherKind(resource)},
           {"a link to what it leads to",
            [](const fs::path& b) {
                fs::remove(b / link);
                fs::copy_file(b / resource, b / link);
            },
            otherKind(link)},
           {"a link to a directory", toDirectory(link), otherKind(link)},
           {"a bundle to a link to it",
            [](const fs::path& b) {
                fs::rename(b / framework, b.parent_path() / "moved");
                fs::create_symlink(b.parent_path() / "moved", b / framework);
            },
            otherKind(framework)},
           {"a program to a link to it", [](const fs::path& b) { Testing::replaceByLink(b / helper); },
            otherKind(helper)},
           {"a program to a FIFO", [](const fs::path& b) { makeFifo(b / helper); }, otherKind(helper)}});
}

TEST_F(ResourceCheckTest, aLinkHasItsSealedText) {
    constexpr const char* rule = "does not lead where its seal says";
    check({{"elsewhere", [](const fs::path& b) { linkTo(b / link, "Empty.txt"); }, refusal(link, rule)},
           {"out", [](const fs::path& b) { linkTo(b / link, "/etc/passwd"); }, refusal(link, rule)},
           {"to the same place by another way", [](const fs::path& b) { linkTo(b / link, "./Kavio.txt"); },
            refusal(link, rule)}});
}

TEST_F(ResourceCheckTest, aDirectoryOnTheWayIsNoLink) {
    for (const char* const place :
         {"Contents/Resources", "Contents/Frameworks", "Contents/Resources/en.lproj"}) {
        check({{place,
                [place](const fs::path& b) {
                    fs::rename(b / place, b.parent_path() / "moved");
                    fs::create_symlink(b.parent_path() / "moved", b / place);
                },
                unsealed(place)}});
    }
}

TEST_F(ResourceCheckTest, whatTheRulesAllowIsAllowed) {
    const auto add = [](const char* place) { return [place](const fs::path& b) { addFile(b / place); }; };
    check(
        {{"PkgInfo changed", add("Contents/PkgInfo"), ""},
         {"PkgInfo removed", [](const fs::path& b) { fs::remove(b / "Contents/PkgInfo"); }, ""},
         {"what the Finder leaves", add("Contents/.DS_Store"), ""},
         {"and deeper", add("Contents/Resources/en.lproj/.DS_Store"), ""},
         {"and in nested code", add("Contents/Frameworks/KavioKit.framework/Versions/A/.DS_Store"), ""},
         {"a language removed", [](const fs::path& b) { fs::remove_all(b / "Contents/Resources/en.lproj"); },
          ""},
         {"what the localizers leave", add("Contents/Resources/en.lproj/locversion.plist"), ""},
         {"an empty directory",
          [](const fs::path& b) { fs::create_directories(b / "Contents/Resources/a/b.c"); }, ""},
         {"a receipt", add("Contents/_MASReceipt/receipt"), ""},
         {"a stapled ticket", add("Contents/CodeResources"), ""},
         {"permissions", [](const fs::path& b) { fs::permissions(b / resource, fs::perms{0755}); }, ""},
         {"times", [](const fs::path& b) { fs::last_write_time(b / resource, fs::file_time_type{}); }, ""}});
}

TEST_F(ResourceCheckTest, linksThatLeaveTheBundleAreSealedLikeOthers) {
    const fs::path bundle = unsignedCopy();
    fs::create_symlink("/etc/passwd", bundle / "Contents/Resources/outside");
    Rehearsal::signBundle(bundle, nullptr, adHoc());
    EXPECT_EQ(Testing::staticRefusal(bundle), "");
}

TEST_F(ResourceCheckTest, directoriesHaveADeepestLevel) {
    const auto deep = [](unsigned levels) {
        return [levels](const fs::path& b) {
            fs::path folder = b / "Contents";
            for (unsigned level = 0; level < levels; ++level) {
                folder /= "d";
            }
            fs::create_directories(folder);
        };
    };
    std::string place = "Contents/";
    for (int level = 0; level < 129; ++level) {
        place += "d/";
    }
    check({{"just not", deep(128), ""}, {"too deep", deep(129), refusal(place, "lies too deep")}});
}

TEST_F(ResourceCheckTest, aFileHasASealForEachHashOfTheSignature) {
    const fs::path bundle = unsignedCopy();
    Rehearsal::BundleOptions options = adHoc();
    options.code.hashes = {Rehearsal::SignatureHash::sha1, Rehearsal::SignatureHash::sha256};
    Rehearsal::signBundle(bundle, nullptr, options);
    EXPECT_EQ(Testing::staticRefusal(bundle), "");
}

TEST_F(ResourceCheckTest, sealsOfTheFirstVersionAreNotEnough) {
    const fs::path bundle = unsignedCopy();
    Rehearsal::BundleOptions options = adHoc();
    options.newerSeal = false;
    options.deep = true;
    Rehearsal::signBundle(bundle, nullptr, options);
    EXPECT_EQ(Testing::staticRefusal(bundle),
              "Contents/_CodeSignature/CodeResources: has no seals and rules of version 2");
    options.newerSeal = true;
    options.olderSeal = false;
    Rehearsal::signBundle(bundle, nullptr, options);
    EXPECT_EQ(Testing::staticRefusal(bundle), "");
}

} // namespace

} // namespace InstallerCore::CodeSign
