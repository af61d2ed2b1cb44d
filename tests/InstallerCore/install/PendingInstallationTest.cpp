#include "InstallerCore/install/PendingInstallation.h"

#include "InstallerCore/download/DownloadCache.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::expectPlatformError;
using testing::IsEmpty;
using Testing::readFile;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

const std::string server = "https://dist.mykavio.test";
const std::string channel = server + "/desktop/mac/latest-mac.yml";
const std::string digest64(64, 'a');
const std::string digest128 = std::string(64, '0') + std::string(64, 'f');

class PendingInstallationTest : public testing::Test {
protected:
    void begin(const std::string& address = channel) {
        PendingInstallation::begin(cache_, address, test_.platform);
    }

    [[nodiscard]] bool shouldResume(const std::string& address = channel) {
        return PendingInstallation::shouldResume(cache_, address, test_.platform);
    }

    void complete() { PendingInstallation::complete(cache_, test_.platform); }

    void expectResumeFails(FileErrorCode code) {
        expectPlatformError(code, [this] { static_cast<void>(shouldResume()); });
    }

    [[nodiscard]] bool isAccepted(std::string_view stored, const std::string& current = channel) {
        writeFile(marker(), stored);
        return shouldResume(current);
    }

    [[nodiscard]] std::filesystem::path marker() const { return cache_ / "pending-install"; }

    [[nodiscard]] std::vector<std::string> names() const {
        return test_.realFiles.openDirectory(cache_)->names();
    }

    mutable Testing::TestPlatform test_;
    std::filesystem::path cache_ = privateCache(test_.platform);
};

TEST_F(PendingInstallationTest, FreshCacheHasNothingToResume) {
    EXPECT_FALSE(shouldResume());
}

TEST_F(PendingInstallationTest, BegunUntilCompleted) {
    begin();
    EXPECT_TRUE(shouldResume());
    EXPECT_TRUE(shouldResume());
    complete();
    EXPECT_FALSE(shouldResume());
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(PendingInstallationTest, MarkerHoldsTheAddressAndIsForTheOwnerOnly) {
    begin();
    EXPECT_EQ(readFile(marker()), channel);
    EXPECT_EQ(Testing::permissionsOf(marker()), 0600U);
    EXPECT_THAT(names(), ElementsAre("pending-install"));
}

TEST_F(PendingInstallationTest, BeginReplacesAnEarlierMarker) {
    begin("https://dist.mykavio.test/a/much/longer/address/than/the/next/one/ever/will/be.yml");
    begin();
    EXPECT_EQ(readFile(marker()), channel);
}

TEST_F(PendingInstallationTest, BeginTakesThePlaceOfATrap) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(marker(), kind);
        begin();
        EXPECT_EQ(readFile(marker()), channel);
        trap.expectOutsideUntouched();
        complete();
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(PendingInstallationTest, FailureToBeginIsPassedThroughAndKeepsTheEarlierMarker) {
    begin("https://dist.mykavio.test/earlier.yml");
    for (const char* operation : {"Files.openDirectory", "Directory.replace"}) {
        test_.files.failAt(operation, 1, FileErrorCode::writeOutOfSpace);
        expectPlatformError(FileErrorCode::writeOutOfSpace, [this] { begin(); });
    }
    EXPECT_EQ(readFile(marker()), "https://dist.mykavio.test/earlier.yml");

    std::filesystem::remove(marker());
    std::filesystem::create_directory(marker());
    expectPlatformError(FileErrorCode::writeUnknown, [this] { begin(); });
    EXPECT_THAT(names(), ElementsAre("pending-install"));
}

TEST_F(PendingInstallationTest, MarkerOfAnotherTextIsNotAccepted) {
    const std::string_view others[] = {
        "",
        " ",
        "https://other.mykavio.test/desktop/mac/latest-mac.yml",
        "http://dist.mykavio.test/desktop/mac/latest-mac.yml",
        "https://dist.mykavio.test:443/desktop/mac/latest-mac.yml",
        "https://dist.mykavio.test/desktop/mac/latest-mac.yml\n",
        "https://dist.mykavio.test/desktop/mac/latest-mac.yml\r\n",
        " https://dist.mykavio.test/desktop/mac/latest-mac.yml",
        "https://dist.mykavio.test/desktop/mac/latest-mac.yml ",
        "https://dist.mykavio.test/desktop/mac/latest-mac.yml#",
        "https://dist.mykavio.test/desktop/mac/LATEST-mac.yml",
        "https://dist.mykavio.test/desktop/win/latest.yml",
        "not an address",
        "https://[broken/desktop/channel.json",
        {"https://dist.mykavio.test/desktop/channel.json\0", 47},
    };
    for (const std::string_view stored : others) {
        EXPECT_FALSE(isAccepted(stored)) << stored;
    }
    writeFile(cache_ / (digest128 + ".dmg"), "image");
    EXPECT_FALSE(isAccepted("https://dist.mykavio.test/other.yml"))
        << "an image does not count beside a marker";
}

TEST_F(PendingInstallationTest, EqualTextIsAcceptedWhateverItIs) {
    for (const std::string text : {"", "not an address", "https://dist.mykavio.test:443/x", "\xC3\xA9\n"}) {
        EXPECT_TRUE(isAccepted(text, text)) << text;
    }
}

TEST_F(PendingInstallationTest, EarlierPathsOfTheChannelAreAccepted) {
    const std::string oldest = "/desktop/channel.json";
    const std::string older = "/desktop/mac/channel.json";
    const std::string current = "/desktop/mac/latest-mac.yml";
    const std::string other = "/desktop/other.json";

    const struct {
        std::string stored;
        std::string current;
        bool accepted;
    } rows[] = {
        {oldest, oldest, true}, // the same text
        {oldest, older, true},   {oldest, current, true},  {oldest, other, false}, {older, oldest, false},
        {older, older, true},    {older, current, true},   {older, other, false},  {current, oldest, false},
        {current, older, false}, {current, current, true}, // the same text
        {current, other, false}, {other, oldest, false},   {other, older, false},  {other, current, false},
        {other, other, true}, // the same text
    };

    for (const auto& row : rows) {
        EXPECT_EQ(isAccepted(server + row.stored, server + row.current), row.accepted)
            << row.stored << " to " << row.current;
    }
}

TEST_F(PendingInstallationTest, EarlierPathIsAcceptedOnlyOnTheSameServer) {
    const struct {
        std::string stored;
        std::string current;
        bool accepted;
    } rows[] = {
        {"https://h.test", "https://h.test", true},
        {"http://h.test", "https://h.test", false},
        {"HTTPS://h.test", "https://h.test", false},
        {"HTTPS://h.test", "HTTPS://h.test", true},
        {"https://H.test", "https://h.test", false},
        {"https://h.test.", "https://h.test", false},
        {"https://g.test", "https://h.test", false},
        {"https://h.test.evil.test", "https://h.test", false},
        {"https://h.test@evil.test", "https://h.test", false},
        {"https://[::1]", "https://[::1]", true},
        {"https://[::1]", "https://[0::1]", false},
        {"https://h.test:443", "https://h.test", false},
        {"https://h.test", "https://h.test:443", false},
        {"https://h.test:443", "https://h.test:443", true},
        {"https://h.test:0443", "https://h.test:443", false},
        {"https://h.test:", "https://h.test", false},
        {"https://h.test", "https://h.test:", false},
        {"https://h.test:", "https://h.test:", true},
        {"https://h.test:", "https://h.test:443", false},
        {"//h.test", "//h.test", true}, // no scheme is equal to none
        {"//h.test", "https://h.test", false},
        {"https://", "https://", true},
        {"https://", "https:", false}, // an empty host is not an absent one
        {"https:", "https:", true},
        {"", "", true},
        {"", "https://h.test", false},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(
            isAccepted(row.stored + "/desktop/channel.json", row.current + "/desktop/mac/latest-mac.yml"),
            row.accepted)
            << row.stored << " to " << row.current;
    }
}

TEST_F(PendingInstallationTest, PartsThatDoNotNameTheServerOrThePathAreNotCompared) {
    EXPECT_TRUE(isAccepted("https://user@h.test/desktop/channel.json?a#b",
                           "https://h.test/desktop/mac/latest-mac.yml"));
    EXPECT_TRUE(
        isAccepted("https://h.test/desktop/channel.json", "https://h.test/desktop/mac/latest-mac.yml?x"));
}

TEST_F(PendingInstallationTest, EarlierPathIsComparedAsWritten) {
    for (const char* path :
         {"/desktop/channel.json/", "//desktop/channel.json", "/Desktop/channel.json",
          "/desktop/./channel.json", "/desktop/channel%2Ejson", "/desktop/x/../channel.json"}) {
        EXPECT_FALSE(isAccepted(server + path)) << path;
    }
    EXPECT_FALSE(isAccepted(server + "/desktop/channel.json\n"));
    EXPECT_FALSE(isAccepted(server + "/desktop/channel.json", "not an address"));
}

TEST_F(PendingInstallationTest, MarkerThatIsNotTextIsAnError) {
    for (const std::string_view content : {"\xFF", "https://h.test/\xC3", "\xED\xA0\x80"}) {
        writeFile(marker(), content);
        expectResumeFails(FileErrorCode::readNotText);
    }
}

TEST_F(PendingInstallationTest, TrapInPlaceOfTheMarkerIsAnError) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(marker(), kind);
        expectResumeFails(FileErrorCode::notRegularFile);
        trap.expectUntouched();
        std::filesystem::remove(marker());
    }
}

TEST_F(PendingInstallationTest, HugeMarkerIsRefusedAfterItsFirstBytes) {
    writeFile(marker(), channel);
    std::filesystem::resize_file(marker(), 65'536);
    EXPECT_FALSE(shouldResume());

    constexpr std::uintmax_t hundredMegabytes = 104'857'600;
    std::filesystem::resize_file(marker(), hundredMegabytes);
    const auto readsBefore = std::ranges::count(test_.files.calls(), "FileHandle.read");
    expectResumeFails(FileErrorCode::readTooLarge);
    EXPECT_LE(std::ranges::count(test_.files.calls(), "FileHandle.read"), readsBefore + 2);
}

TEST_F(PendingInstallationTest, FailureToReadTheMarkerIsPassedThrough) {
    begin();
    for (const char* operation :
         {"Files.openDirectory", "Directory.attributes", "Directory.open", "FileHandle.read"}) {
        SCOPED_TRACE(operation);
        test_.files.failAt(operation, 1, FileErrorCode::readNoPermission);
        expectResumeFails(FileErrorCode::readNoPermission);
    }
    EXPECT_TRUE(shouldResume());
}

TEST_F(PendingInstallationTest, ImageWithContentIsResumedWithoutAMarker) {
    for (const std::string& image : {digest64 + ".dmg", digest128 + ".dmg"}) {
        writeFile(cache_ / "events.jsonl", "line");
        writeFile(cache_ / image, "x");
        EXPECT_TRUE(shouldResume());
        EXPECT_TRUE(shouldResume("not an address"));
        std::filesystem::remove(cache_ / image);
        EXPECT_FALSE(shouldResume());
    }
}

TEST_F(PendingInstallationTest, ImageBeyondThirtyTwoBitsHasContent) {
    writeFile(cache_ / (digest128 + ".dmg"), "");
    std::filesystem::resize_file(cache_ / (digest128 + ".dmg"), 4'294'967'296); // 0 in 32 bits
    EXPECT_TRUE(shouldResume());
}

TEST_F(PendingInstallationTest, OtherEntriesAreNoImages) {
    writeFile(cache_ / (digest128 + ".dmg"), ""); // empty
    for (const std::string& name :
         {digest64 + ".dmg.etag", digest64 + ".dmg.part", std::string(64, 'A') + ".dmg", std::string("x.dmg"),
          std::string(65, 'a') + ".dmg", digest64, "." + digest64 + ".dmg", digest64 + ".dmg\n"}) {
        writeFile(cache_ / name, "content");
    }
    EXPECT_FALSE(shouldResume());
    writeFile(cache_ / (digest64 + ".dmg"), "content");
    EXPECT_TRUE(shouldResume());
}

TEST_F(PendingInstallationTest, TrapOfAnImageNameIsNoImage) {
    const std::filesystem::path place = cache_ / (digest64 + ".dmg");
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place, kind);
        EXPECT_FALSE(shouldResume());
        trap.expectUntouched();
        std::filesystem::remove(place);
    }
}

TEST_F(PendingInstallationTest, FailureToLookForAnImageIsPassedThrough) {
    writeFile(cache_ / (digest64 + ".dmg"), "content");
    test_.files.failAt("Directory.names", 1, FileErrorCode::readUnknown);
    expectResumeFails(FileErrorCode::readUnknown);
    test_.files.failAt("Directory.attributes", 2,
                       FileErrorCode::readNoPermission); // the first is the marker's
    expectResumeFails(FileErrorCode::readNoPermission);
    EXPECT_TRUE(shouldResume());

    std::filesystem::remove_all(cache_);
    expectResumeFails(FileErrorCode::readNoSuchFile);
}

TEST_F(PendingInstallationTest, CompleteWithoutAMarkerDoesAndLogsNothing) {
    writeFile(cache_ / (digest64 + ".dmg"), "content");
    complete();
    EXPECT_THAT(names(), ElementsAre(digest64 + ".dmg"));
    std::filesystem::remove_all(cache_);
    complete();
    EXPECT_FALSE(std::filesystem::exists(cache_));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(PendingInstallationTest, CompleteRemovesAPlantedLinkAndNotWhatItLeadsTo) {
    for (const TrapKind kind : Testing::allTrapLinks) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(marker(), kind);
        complete();
        EXPECT_THAT(names(), IsEmpty());
        trap.expectOutsideUntouched();
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(PendingInstallationTest, FailureToCompleteIsOneLineInTheLog) {
    begin();
    for (const char* operation : {"Files.openDirectory", "Directory.remove"}) {
        test_.files.failAt(operation, 1, FileErrorCode::writeVolumeReadOnly);
        complete();
    }
    EXPECT_TRUE(shouldResume());
    std::filesystem::remove(marker());
    std::filesystem::create_directory(marker());
    complete();
    EXPECT_TRUE(std::filesystem::is_directory(marker()));
    EXPECT_THAT(test_.log.lines(),
                ElementsAre("Installer pending task cleanup deferred: The volume of the file is read-only.",
                            "Installer pending task cleanup deferred: The volume of the file is read-only.",
                            "Installer pending task cleanup deferred: The file could not be written."));
}

} // namespace

} // namespace InstallerCore
