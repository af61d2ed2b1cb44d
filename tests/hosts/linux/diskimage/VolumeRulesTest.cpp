#include "hosts/linux/diskimage/VolumeRules.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using namespace std::string_literals;
using Kind = VolumeItem::Kind;

constexpr std::int64_t room = 1'000;

VolumeItem item(Kind kind, const std::string& path, std::int64_t size = 0) {
    return {.kind = kind, .path = path, .size = size};
}

std::string verdict(const std::vector<VolumeItem>& items) {
    try {
        checkVolume({.name = "V", .items = items}, room);
        return "good";
    } catch (const DiskImageError& error) {
        return error.what();
    }
}

TEST(VolumeRulesTest, AnOrdinaryVolumeIsGood) {
    EXPECT_EQ(verdict({}), "good");
    EXPECT_EQ(verdict({item(Kind::folder, ""), item(Kind::file, "a/b/c", 500), item(Kind::folder, "a/b"),
                       item(Kind::folder, "a"), item(Kind::link, "a/x"), item(Kind::hardLink, "..."),
                       item(Kind::file, "-", 500)}),
              "good");
}

TEST(VolumeRulesTest, PathsThatLeaveTheVolumeAreRefused) {
    for (const std::string path :
         {"/a", "/", "..", ".", "../a", "a/..", "a/../b", "a/.", "a//b", "a/", "./a"}) {
        EXPECT_EQ(verdict({item(Kind::folder, "a"), item(Kind::file, path)}),
                  "\"" + path + "\" would lie outside the volume");
        EXPECT_NE(verdict({item(Kind::folder, "a"), item(Kind::link, path)}), "good");
        EXPECT_NE(verdict({item(Kind::folder, "a"), item(Kind::folder, path)}), "good");
        EXPECT_NE(verdict({item(Kind::folder, "a"), item(Kind::hardLink, path)}), "good");
    }
    EXPECT_EQ(verdict({item(Kind::file, "")}), "\"\" would lie outside the volume");
    EXPECT_EQ(verdict({item(Kind::file, "a\0b"s)}), "\"a?b\" has a NUL in its name");
}

TEST(VolumeRulesTest, NothingLiesUnderWhatIsNoFolder) {
    for (const Kind kind : {Kind::file, Kind::link, Kind::hardLink, Kind::hidden}) {
        EXPECT_EQ(verdict({item(kind, "a"), item(Kind::file, "a/b")}),
                  "\"a/b\" lies under something that is not a folder");
        EXPECT_EQ(verdict({item(Kind::hardLink, "a/b"), item(kind, "a")}),
                  "\"a/b\" lies under something that is not a folder");
    }
    EXPECT_EQ(verdict({item(Kind::file, "a/b")}), "\"a/b\" lies under something that is not a folder");
}

TEST(VolumeRulesTest, NamesThatAMacTakesForOneAreRefused) {
    const std::string twice = "\" is there twice, or differs from another name only in case or composition";
    const std::pair<std::string, std::string> pairs[] = {
        {"a", "a"},
        {"Kavio.app", "kavio.APP"},
        {"\u00e9", "e\u0301"},
        {"\u00c9", "e\u0301"},
        {"\u03a3", "\u03c2"}, // the three sigmas
        {"stra\u00dfe", "STRASSE"},
        {"\u212b", "a\u030a"}, // the sign of the angstrom
        {"q\u0323\u0307", "q\u0307\u0323"},
    };
    for (const auto& [first, second] : pairs) {
        EXPECT_EQ(verdict({item(Kind::file, first), item(Kind::link, second)}), "\"" + second + twice);
    }
    EXPECT_EQ(verdict({item(Kind::folder, "a"), item(Kind::folder, "A"), item(Kind::file, "a/x")}),
              "\"A" + twice);
    EXPECT_EQ(verdict({item(Kind::folder, "a"), item(Kind::file, "a/X"), item(Kind::file, "x")}), "good");
    EXPECT_EQ(verdict({item(Kind::file, "i"), item(Kind::file, "\u0131")}), "good")
        << "not the same without a language";
}

TEST(VolumeRulesTest, SpecialFilesAreRefused) {
    EXPECT_EQ(verdict({item(Kind::special, "tty\n")}), "\"tty?\" is neither a file nor a folder nor a link");
}

TEST(VolumeRulesTest, MoreDataThanTheVolumeHasRoomForIsRefused) {
    const std::string tooMuch = "the volume holds more data than it has room for";
    EXPECT_EQ(verdict({item(Kind::file, "a", room)}), "good");
    EXPECT_EQ(verdict({item(Kind::file, "a", room + 1)}), tooMuch);
    EXPECT_EQ(verdict({item(Kind::file, "a", room), item(Kind::attribute, "a", 1)}), tooMuch);
    EXPECT_EQ(verdict({item(Kind::hidden, "a", INT64_MAX), item(Kind::hidden, "b", INT64_MAX)}), tooMuch);
}

TEST(VolumeRulesTest, VeryLongPathsAreRefused) {
    std::vector<VolumeItem> items;
    std::string path = "d";
    while (path.size() <= 3'500) {
        items.push_back(item(Kind::folder, path));
        path += "/" + std::string(99, 'd');
    }
    EXPECT_EQ(verdict(items), "good");
    items.push_back(item(Kind::file, path));
    EXPECT_EQ(verdict(items), "\"" + path.substr(0, 100) + "...\" is too long a path");
}

} // namespace

} // namespace InstallerCore
