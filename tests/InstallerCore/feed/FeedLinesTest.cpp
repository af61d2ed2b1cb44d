#include "InstallerCore/feed/FeedLines.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;

void expectError(const std::string& text, const std::string& document) {
    SCOPED_TRACE(document);
    expectInstallerError(text, [&document] { return readFeedLines(document); });
}

// All of the horizontal white space: the tab and the space separators.
const char* const blanks[] = {"\t",     " ",      "\u00A0", "\u1680", "\u2000", "\u2001",
                              "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
                              "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

const char* const newlines[] = {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029", "\r\n"};

TEST(FeedLinesTest, EveryNewlineCharacterEndsALine) {
    for (const std::string newline : newlines) {
        SCOPED_TRACE(newline);
        const FeedDocument document =
            readFeedLines("version: 1.4.2" + newline + "files:" + newline + "  - url: a" + newline +
                          "    size: 5" + newline + "    sha512: b");
        EXPECT_EQ(document.version, "1.4.2");
        ASSERT_EQ(document.items.size(), 1U);
        EXPECT_EQ(document.items[0].url, "a");
        EXPECT_EQ(document.items[0].size, "5");
        EXPECT_EQ(document.items[0].sha512, "b");
    }
}

TEST(FeedLinesTest, NothingElseEndsALine) {
    for (const std::string other :
         {"\b", "\x0E", "\x1C", "\x1D", "\x1E", "\x1F", "\u0084", "\u0086", "\u2027", "\u202A"}) {
        EXPECT_EQ(readFeedLines("version: 1" + other + "files: no").version, "1" + other + "files: no");
    }
}

TEST(FeedLinesTest, ValuesLoseEveryBlankAtBothEnds) {
    for (const std::string blank : blanks) {
        SCOPED_TRACE(blank);
        EXPECT_EQ(readFeedLines("version:" + blank + blank + "1" + blank + "2" + blank).version,
                  "1" + blank + "2");
        EXPECT_EQ(readFeedLines("files:" + blank + "\n  - url:" + blank + "a" + blank).items.at(0).url, "a");
    }
}

TEST(FeedLinesTest, WhatOnlyLooksLikeABlankStays) {
    for (const std::string other :
         {"\u200B", "\u180E", "\u2060", "\u200D", "\b", "\x1F", "\u2800", "\u115F"}) {
        EXPECT_EQ(readFeedLines("version: " + other + "1" + other).version, other + "1" + other);
    }
    const std::string nul(1, '\0');
    EXPECT_EQ(readFeedLines("version: " + nul + "1" + nul).version, nul + "1" + nul);
}

TEST(FeedLinesTest, EmptyLinesAndCommentsLeaveTheFilesListOpen) {
    std::vector<std::string> between = {"",          "# note",    "#", "    # note", "  #- url: b",
                                        " #size: 6", "\t# files:"};
    for (const std::string blank : blanks) {
        between.push_back(blank);
        between.push_back(blank + blank + "#");
    }
    for (const std::string& line : between) {
        SCOPED_TRACE(line);
        const FeedDocument document =
            readFeedLines("files:\n" + line + "\n  - url: a\n" + line + "\n    size: 5\n");
        ASSERT_EQ(document.items.size(), 1U);
        EXPECT_EQ(document.items[0].size, "5");
    }
}

TEST(FeedLinesTest, NumberSignBehindAValueBelongsToIt) {
    EXPECT_EQ(readFeedLines("version: 1.4.2 # stable").version, "1.4.2 # stable");
    EXPECT_EQ(readFeedLines("files:\n  - url: # a").items.at(0).url, "# a");
    expectError("Invalid files list", "files: # none");
    expectError("Unsupported files list", "files:\n    blockMapSize: 1 # a");
}

TEST(FeedLinesTest, TextWithoutLinesHoldsNothing) {
    for (const char* text : {"", "\n", "\r\n\r\n", "# only a comment", "   "}) {
        const FeedDocument document = readFeedLines(text);
        EXPECT_FALSE(document.version);
        EXPECT_TRUE(document.items.empty());
    }
}

TEST(FeedLinesTest, KeysOfTheTopLevelAreTakenAsWritten) {
    EXPECT_EQ(readFeedLines("version:1.4.2").version, "1.4.2");
    EXPECT_EQ(readFeedLines("version:").version, "");
    EXPECT_EQ(readFeedLines("version: a:b: c").version, "a:b: c");
    for (const char* other : {"Version: 1", "version : 1", "version", "versions: 1", " version: 1",
                              "\tversion: 1", "\u00A0version: 1", "'version': 1", "-version: 1"}) {
        EXPECT_FALSE(readFeedLines(other).version) << other;
    }
    for (const char* other : {"Files:", "files", "files :", " files:", "\tfiles:", "filesystem:"}) {
        EXPECT_TRUE(readFeedLines(std::string(other) + "\n  - url: a").items.empty()) << other;
    }
}

TEST(FeedLinesTest, EveryOtherLineOfTheTopLevelEndsTheFilesList) {
    for (const char* line : {"path: a", "version: 1", "stray", "\t- url: b", "\tsize: 6", "\u00A0   size: 6",
                             "- url: b", ":", "---", "'", "\u200B"}) {
        SCOPED_TRACE(line);
        const FeedDocument document = readFeedLines("files:\n  - url: a\n" + std::string(line) +
                                                    "\n    size: 5\n  - url: c\n  anything\n");
        ASSERT_EQ(document.items.size(), 1U);
        EXPECT_FALSE(document.items[0].size);
    }
}

TEST(FeedLinesTest, UnknownKeyBeforeTheItemsHidesThem) {
    const FeedDocument document = readFeedLines("files:\nother: 1\n  - url: a\n    nonsense\n");
    EXPECT_TRUE(document.items.empty());
}

TEST(FeedLinesTest, IndentedLinesOutsideTheListAreIgnored) {
    const FeedDocument document =
        readFeedLines("  - url: a\n    size: [\n nonsense\nversion: 1\n    sha512: 'x\n");
    EXPECT_EQ(document.version, "1");
    EXPECT_TRUE(document.items.empty());
}

TEST(FeedLinesTest, VersionMayStandOnce) {
    for (const char* second : {"version: 1.4.2", "version:", "version: [1]", "version: 'x"}) {
        expectError("Duplicate feed field", "version: 1.4.2\n" + std::string(second));
        expectError("Duplicate feed field", "version:\nfiles:\n" + std::string(second));
    }
}

TEST(FeedLinesTest, FilesMayStandOnceAndHoldNothing) {
    for (const char* value : {"[]", "a", "''", "\"\"", "~", ":", "#", "\u200B", "[", "\xC2\xA0x"}) {
        expectError("Invalid files list", "files: " + std::string(value));
    }
    expectError("Invalid files list", "files:\nfiles:");
    expectError("Invalid files list", "files:\n  - url: a\npath: b\nfiles:\n");
    expectError("Invalid files list", "files:\nfiles: []");
}

TEST(FeedLinesTest, HashOrSizeNeedsAnItem) {
    for (const char* line :
         {"    sha512: a", "    size: 5", "    sha512:", "    size:", "    size: [5]", "    sha512: 'x"}) {
        expectError("Invalid files list", "files:\n" + std::string(line));
    }
}

TEST(FeedLinesTest, HashAndSizeMayStandOnceInAnItem) {
    for (const char* second : {"size: 5", "size: 6", "size:", "size: [5]", "size: 'x"}) {
        expectError("Duplicate feed field", "files:\n  - url: a\n    size: 5\n    " + std::string(second));
    }
    expectError("Duplicate feed field", "files:\n  - url: a\n    size:\n    size: 5");
    expectError("Duplicate feed field", "files:\n  - url: a\n    sha512: b\n    size: 5\n    sha512: b");
}

TEST(FeedLinesTest, HashAndSizeBelongToTheItemAboveInAnyOrder) {
    const FeedDocument document = readFeedLines("files:\n  - url: a\n    size: 1\n    sha512: x\n"
                                                "  - url: b\n  - url:c\n    sha512:y\n    size:3\n");
    ASSERT_EQ(document.items.size(), 3U);
    EXPECT_EQ(document.items[0].size, "1");
    EXPECT_EQ(document.items[0].sha512, "x");
    EXPECT_EQ(document.items[1].url, "b");
    EXPECT_FALSE(document.items[1].size);
    EXPECT_FALSE(document.items[1].sha512);
    EXPECT_EQ(document.items[2].url, "c");
    EXPECT_EQ(document.items[2].size, "3");
    EXPECT_EQ(document.items[2].sha512, "y");
}

TEST(FeedLinesTest, AnyOtherLineInTheListIsRefused) {
    for (const char* line :
         {"    url: a",      "   size: 5",    "     size: 5", "  size: 5",    " size: 5",
          "\u0020\tsize: 5", "    sha256: a", "    Size: 5",  "    size : 5", "    sizes: 5",
          "    size",        "    sha512",    "  -url: a",    "   - url: a",  " - url: a",
          "  - url : a",     "  - URL: a",    "  - path: a",  "  -  url: a",  "  - url",
          "    - url: a",    "      - a",     "  stray",      " :",           "    isAdmin: true",
          "    \"size\": 5"}) {
        expectError("Unsupported files list", "files:\n  - url: a\n" + std::string(line));
        expectError("Unsupported files list", "files:\n" + std::string(line));
    }
}

TEST(FeedLinesTest, BlockMapSizeIsReadOver) {
    for (const char* line : {"    blockMapSize: 0", "    blockMapSize: 190123", "    blockMapSize: 190123 ",
                             "    blockMapSize: 190123 \t\u00A0\u3000",
                             "    blockMapSize: 99999999999999999999999999\n    blockMapSize: 1"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(readFeedLines("files:\n" + std::string(line) + "\n  - url: a\n" + line).items.size(), 1U);
    }
}

TEST(FeedLinesTest, BlockMapSizeMustBeFourBlanksAndDigits) {
    for (const char* line :
         {"    blockMapSize: word", "    blockMapSize:", "    blockMapSize: ", "    blockMapSize:1",
          "    blockMapSize:  1", "    blockMapSize:\t1", "    blockMapSize: 1x", "    blockMapSize: 1 2",
          "    blockMapSize: -1", "    blockMapSize: 1.0", "    blockMapSize: '1'", "    blockMapSize: ١",
          "   blockMapSize: 1", "     blockMapSize: 1", "    blockmapsize: 1", "    blockMapSize: 1\u200B"}) {
        expectError("Unsupported files list", "files:\n  - url: a\n" + std::string(line));
    }
}

TEST(FeedLinesTest, FirstFailingLineDecides) {
    expectError("Unsupported YAML scalar", "version: [1]\nfiles: []");
    expectError("Invalid files list", "files: []\nversion: [1]");
    expectError("Invalid YAML scalar", "files:\n  - url: 'a\n    url: b");
}

} // namespace

} // namespace InstallerCore
