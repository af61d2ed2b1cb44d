#include "InstallerCore/feed/UpdateFeed.h"

#include "tests/InstallerCore/feed/SampleFeed.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::feedWith;
using Testing::itemLines;
using Testing::readFeed;
using Testing::sampleConfig;

const std::string soundFeed = feedWith(itemLines("Kavio-1.4.2.dmg"));

void expectError(const std::string& text, const std::string& document,
                 const Config& config = sampleConfig()) {
    SCOPED_TRACE(document.substr(0, 400));
    expectInstallerError(text, [&] { return readFeed(document, config); });
}

TEST(UpdateFeedTest, FullFeedBecomesOneArtifactPerImageInItsOrder) {
    const std::string hash(Testing::sampleHash);
    const Manifest manifest = readFeed("version: 1.4.2\n"
                                       "files:\n"
                                       "  - url: Kavio-1.4.2-arm64.dmg\n"
                                       "    sha512: " +
                                       hash +
                                       "\n"
                                       "    size: 183456789\n"
                                       "    blockMapSize: 190123\n"
                                       "  - url: Kavio-1.4.2-mac.zip\n"
                                       "  - url: Kavio-1.4.2.dmg\n"
                                       "    sha512: " +
                                       hash +
                                       "\n"
                                       "    size: 190234567\n"
                                       "path: Kavio-1.4.2.dmg\n"
                                       "releaseDate: '2024-05-01T10:00:00.000Z'\n");
    const std::string directory = "https://dist.mykavio.test/desktop/mac/";
    const std::string digits(Testing::sampleHashDigits);
    const Manifest expected{{
        {"macos", "arm64", "1.4.2", "12.0.0", directory + "Kavio-1.4.2-arm64.dmg", 183'456'789, 733'827'156,
         digits},
        {"macos", "x64", "1.4.2", "12.0.0", directory + "Kavio-1.4.2.dmg", 190'234'567, 760'938'268, digits},
    }};
    EXPECT_EQ(manifest, expected);
}

TEST(UpdateFeedTest, LongestFeedIsReadAndOneByteMoreIsNot) {
    std::string document = soundFeed;
    document.resize(131'071, '#'); // one long comment
    EXPECT_EQ(readFeed(document + "#").artifacts.size(), 1U);
    expectError("Manifest too large", document + "##");
}

TEST(UpdateFeedTest, ByteOrderMarksCountForTheLength) {
    std::string document = soundFeed;
    while (document.size() + 3 <= 131'072) {
        document += "\uFEFF";
    }
    document.resize(131'072, '\n');
    EXPECT_EQ(readFeed(document).artifacts.size(), 1U);
    expectError("Manifest too large", document + "\n");
}

TEST(UpdateFeedTest, FeedOfLineBreaksOnlyIsRead) {
    expectError("Missing release version", std::string(131'072, '\n'));
    expectError("Missing release version", "");
}

TEST(UpdateFeedTest, FeedMustBeUtf8) {
    for (const std::string bytes :
         {"\x80", "\xFF", "\xFE", "\xC3", "\xC3(", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE2\x82",
          "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x80\x80\x80", "\xF0\x9F\x98", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xEF\xBB"}) {
        expectError("Invalid feed encoding", bytes + "\n" + soundFeed);
        expectError("Invalid feed encoding", soundFeed + "# " + bytes);
        expectError("Invalid feed encoding", soundFeed + bytes);
    }
    const std::string wide("v\0e\0r\0", 6);
    expectError("Missing release version", wide);
    expectError("Invalid feed encoding", "\xFF\xFE" + wide);
}

TEST(UpdateFeedTest, ByteOrderMarksGoWhereverTheyStand) {
    const Manifest expected = readFeed(soundFeed);
    for (std::size_t at = 0; at <= soundFeed.size(); ++at) {
        std::string document = soundFeed;
        document.insert(at, "\uFEFF");
        EXPECT_EQ(readFeed(document), expected) << at;
    }
    EXPECT_EQ(readFeed("\uFEFF\uFEFF" + soundFeed), expected);
}

TEST(UpdateFeedTest, HalvesAroundAByteOrderMarkAreNotUtf8) {
    expectError("Invalid feed encoding", "\xEF\xEF\xBB\xBF\xBB\xBF" + soundFeed);
}

TEST(UpdateFeedTest, LineBreaksOfAnyKindReadTheSame) {
    const Manifest expected = readFeed(soundFeed);
    for (const std::string newline :
         {"\r", "\r\n", "\n\n", "\v", "\f", "\u0085", "\u2028", "\u2029", "\n\r"}) {
        std::string document;
        for (const char c : soundFeed) {
            document += c == '\n' ? newline : std::string(1, c);
        }
        EXPECT_EQ(readFeed(document), expected);
    }
}

TEST(UpdateFeedTest, LastLineNeedsNoLineBreak) {
    EXPECT_EQ(readFeed(soundFeed.substr(0, soundFeed.size() - 1)), readFeed(soundFeed));
}

TEST(UpdateFeedTest, VersionMayStandBehindTheFiles) {
    EXPECT_EQ(readFeed("files:\n" + itemLines("Kavio-1.4.2.dmg") + "version: 1.4.2"), readFeed(soundFeed));
}

TEST(UpdateFeedTest, VersionMayBeQuoted) {
    const Manifest expected = readFeed(soundFeed);
    for (const std::string version : {"'1.4.2'", "\"1.4.2\"", R"("\u0031.4.2")"}) {
        EXPECT_EQ(readFeed("version: " + version + "\nfiles:\n" + itemLines("Kavio-1.4.2.dmg")), expected)
            << version;
    }
}

TEST(UpdateFeedTest, VersionMustBeThere) {
    expectError("Missing release version", "files:\n" + itemLines("Kavio-1.4.2.dmg"));
    expectError("Missing release version", " version: 1.4.2\nfiles:\n" + itemLines("Kavio-1.4.2.dmg"));
}

TEST(UpdateFeedTest, VersionMustBeOne) {
    for (const std::string version : {"",
                                      "''",
                                      "null",
                                      "~",
                                      "1.4",
                                      "1.4.2.0",
                                      "1..2",
                                      ".4.2",
                                      "1.4.",
                                      "v1.4.2",
                                      "1.4.2-beta",
                                      "1.4.2 # stable",
                                      "+1.4.2",
                                      "-1.4.2",
                                      "1.+4.2",
                                      "1. 4.2",
                                      "' 1.4.2'",
                                      "1,4,2",
                                      "1.4.x",
                                      R"("1.4.2\n")",
                                      R"("1.4.2\u0000")",
                                      R"("\n1.4.2")",
                                      "١.٤.٢",
                                      "1.4.２",
                                      "9223372036854775808.0.0",
                                      "0.0.99999999999999999999",
                                      "99999999999999999999.1.4.2",
                                      "1.99999999999999999999.4.2"}) {
        expectError("Invalid version",
                    "version: " + version + "\nfiles:\n" + itemLines("Kavio-" + version + ".dmg"));
    }
}

TEST(UpdateFeedTest, VersionKeepsItsSpelling) {
    const std::string document = "version: 01.004.2\nfiles:\n";
    const Artifact artifact = readFeed(document + itemLines("Kavio-01.004.2.dmg")).artifacts.at(0);
    EXPECT_EQ(artifact.appVersion, "01.004.2");
    expectError("Artifact version mismatch", document + itemLines("Kavio-1.4.2.dmg"));
}

TEST(UpdateFeedTest, LargestVersionIsRead) {
    const std::string version = "9223372036854775807.0.9223372036854775807";
    EXPECT_EQ(readFeed("version: " + version + "\nfiles:\n" + itemLines("Kavio-" + version + ".dmg"))
                  .artifacts.size(),
              1U);
}

TEST(UpdateFeedTest, FeedWithoutAnImageIsRefused) {
    for (const std::string rest :
         {"", "files:\n", "path: Kavio-1.4.2.dmg\n", "files:\n  - url: Kavio-1.4.2.zip\n",
          "files:\nother:\n  - url: Kavio-1.4.2.dmg\n"}) {
        expectError("No compatible release artifacts", "version: 1.4.2\n" + rest);
    }
}

TEST(UpdateFeedTest, ChannelAddressMattersOnlyForItems) {
    Config config = sampleConfig();
    config.channelURL = "http://dist.mykavio.test/latest-mac.yml";
    expectError("No compatible release artifacts", "version: 1.4.2\n", config);
    expectError("Untrusted download URL", soundFeed, config);
    expectError("Untrusted download URL", feedWith("  - url: https://dist.mykavio.test/Kavio-1.4.2.dmg\n"),
                config);
}

TEST(UpdateFeedTest, EarlierCheckDecidesBetweenTwoFailures) {
    Config untrusted = sampleConfig();
    untrusted.channelURL = "";
    const std::string invalidHash = "\n    sha512: x\n    size: 5\n";

    expectError("Manifest too large", std::string(131'073, '\xFF'));
    expectError("Invalid feed encoding", "files: []\n\xFF");
    expectError("Unsupported files list", "files:\n  nonsense\n");           // and no version
    expectError("Invalid YAML scalar", "version: 1\nfiles:\n  - url: 'x\n"); // and an invalid version
    expectError("Missing release version",
                "files:\n  - url: https://other.example/a\n"); // and an untrusted item
    expectError("Invalid version", "version: 1\nfiles:\n  - url: https://other.example/a\n");
    expectError("Untrusted download URL", feedWith("  - url:\n"), untrusted); // and an invalid reference
    expectError("Untrusted download URL", feedWith("  - url: //other.example/a.zip\n")); // and no image
    expectError("Untrusted download URL", feedWith("  - url: //other.example/Kavio-9.dmg" + invalidHash));
    expectError("Artifact version mismatch", feedWith("  - url: Kavio-9.dmg" + invalidHash));
    expectError("Duplicate release target",
                feedWith(itemLines("Kavio-1.4.2.dmg") + "  - url: Kavio-1.4.2.dmg" + invalidHash));
}

TEST(UpdateFeedTest, EarlierItemDecidesBetweenTwoFailures) {
    expectError("Invalid artifact size or hash",
                feedWith("  - url: Kavio-1.4.2.dmg\n  - url: https://other.example/Kavio-1.4.2.dmg\n"));
    expectError("Untrusted download URL",
                feedWith("  - url: https://other.example/Kavio-1.4.2.dmg\n  - url: Kavio-1.4.2.dmg\n"));
    expectError("Untrusted download URL",
                feedWith(itemLines("Kavio-1.4.2.dmg") + "  - url: https://other.example/a.zip\n"));
}

TEST(UpdateFeedTest, CallsDoNotAffectEachOther) {
    const Manifest expected = readFeed(soundFeed);
    expectError("Duplicate feed field", soundFeed + "version: 1.4.2");
    EXPECT_EQ(readFeed(soundFeed), expected);
    EXPECT_EQ(readFeed(soundFeed), expected);
}

} // namespace

} // namespace InstallerCore
