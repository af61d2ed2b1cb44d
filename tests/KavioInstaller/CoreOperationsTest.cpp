#include "KavioInstaller/CoreOperations.h"

#include "InstallerCore/platform/Files.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::readFile;
using Testing::writeFile;

// Each operation is the core's own, on this platform and with this configuration.
class CoreOperationsTest : public testing::Test {
protected:
    Testing::TestPlatform test_;
    Config config_{.channelURL = "https://mykavio.test/latest-mac.yml",
                   .allowedHosts = {"mykavio.test"},
                   .macTeamID = "TEAM123456",
                   .bundleID = "test.mykavio.app"};
    CoreOperations core_ = CoreOperations::live(config_, test_.platform);
    std::filesystem::path cache_ = core_.privateCache();
    CoreOperations::CancelFlag flag_ = std::make_shared<Cancellation>();
};

TEST_F(CoreOperationsTest, HasEveryOperation) {
    EXPECT_TRUE(core_.privateCache && core_.takeInstanceLock && core_.record && core_.shouldResume &&
                core_.begin && core_.complete && core_.manifest && core_.download && core_.readUpdateFeed &&
                core_.nativeArch && core_.systemVersion && core_.cleanExpiredDownloads &&
                core_.removeInstalledPackage && core_.existing && core_.isWritable && core_.checkSpace &&
                core_.recover && core_.install && core_.scheduleEjection && core_.log && core_.seconds);
}

TEST_F(CoreOperationsTest, KeepsOneInstallerAtATime) {
    EXPECT_EQ(cache_, test_.cachePath());
    const auto lock = core_.takeInstanceLock(cache_);
    EXPECT_TRUE(std::filesystem::exists(cache_ / "installer.lock"));
    expectInstallerError("Another Kavio installer is already running",
                         [&] { static_cast<void>(core_.takeInstanceLock(cache_)); });
}

TEST_F(CoreOperationsTest, RecordsEventsWithTheirVersions) {
    core_.record("installer_opened", std::nullopt);
    core_.record("manifest_resolved", "2.0.0");
    const std::string log = readFile(cache_ / "events.jsonl");
    EXPECT_NE(log.find("installer_opened"), std::string::npos);
    EXPECT_NE(log.find(R"("appVersion":"2.0.0")"), std::string::npos);
}

TEST_F(CoreOperationsTest, MarksAnInstallationUntilItIsComplete) {
    EXPECT_FALSE(core_.shouldResume(cache_, config_.channelURL));
    core_.begin(cache_, config_.channelURL);
    EXPECT_TRUE(core_.shouldResume(cache_, config_.channelURL));
    EXPECT_FALSE(core_.shouldResume(cache_, "https://elsewhere.test/latest-mac.yml"));
    core_.complete(cache_);
    EXPECT_FALSE(core_.shouldResume(cache_, config_.channelURL));
}

TEST_F(CoreOperationsTest, FetchesTheFeedOfTheChannel) {
    test_.http.expect({.response = HttpResponse{.status = 200, .headers = {}}, .chunks = {"fe", "ed"}});
    EXPECT_EQ(core_.manifest(flag_), toBytes("feed"));
    EXPECT_EQ(test_.http.requests().at(0).url.text(), config_.channelURL);
    expectInstallerError("Missing release version",
                         [&] { static_cast<void>(core_.readUpdateFeed(asBytes("feed"))); });
}

TEST_F(CoreOperationsTest, StopsBothDownloadsByTheFlagThatTheyAreGiven) {
    constexpr const char* paused = "Download paused. Open the installer again to resume.";
    flag_->cancel();
    test_.http.expect({.silentUntilCancelled = true});
    expectInstallerError(paused, [&] { static_cast<void>(core_.manifest(flag_)); });
    const Artifact artifact{.url = "https://mykavio.test/Kavio.dmg", .sizeBytes = 1};
    expectInstallerError(paused, [&] {
        core_.download(flag_, artifact, cache_ / "image.dmg", [](std::int64_t, std::int64_t) {});
    });
    EXPECT_EQ(test_.http.requests().size(), 1U); // the feed's
}

TEST_F(CoreOperationsTest, DownloadsToTheFileAndReportsIt) {
    test_.http.expect({.response = HttpResponse{.status = 200, .headers = {}}, .chunks = {"ab", "c"}});
    const Artifact artifact{.url = "https://mykavio.test/Kavio.dmg",
                            .sizeBytes = 3,
                            .sha512 = "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                      "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"};
    std::pair<std::int64_t, std::int64_t> last;
    core_.download(flag_, artifact, cache_ / "image.dmg",
                   [&](std::int64_t received, std::int64_t total) { last = {received, total}; });
    EXPECT_EQ(readFile(cache_ / "image.dmg"), "abc");
    EXPECT_EQ(last, std::pair(std::int64_t{3}, std::int64_t{3}));
}

TEST_F(CoreOperationsTest, RemovesOldImagesAndTheOneThatWasInstalled) {
    const auto image = [&](char digit) { return cache_ / (std::string(128, digit) + ".dmg"); };
    for (const char digit : {'a', 'b', 'c'}) {
        writeFile(image(digit), "image");
    }
    const auto age = std::chrono::hours(24 * 365 * 10);
    std::filesystem::last_write_time(image('a'), std::filesystem::file_time_type::clock::now() - age);
    test_.clock.set(std::chrono::system_clock::now());
    core_.cleanExpiredDownloads(cache_);
    EXPECT_FALSE(std::filesystem::exists(image('a')));
    EXPECT_TRUE(std::filesystem::exists(image('b')));
    EXPECT_TRUE(core_.removeInstalledPackage(image('b')));
    EXPECT_FALSE(std::filesystem::exists(image('b')));
    EXPECT_TRUE(std::filesystem::exists(image('c')));
}

TEST_F(CoreOperationsTest, AsksTheSystemWhatItIs) {
    test_.system.arm64 = true;
    EXPECT_EQ(core_.nativeArch(), "arm64");
    test_.system.systemVersion = {.major = 15, .minor = 2, .patch = 1};
    EXPECT_EQ(core_.systemVersion().major, 15);
    EXPECT_EQ(core_.systemVersion().patch, 1);
    core_.log("a line");
    EXPECT_EQ(test_.log.lines(), std::vector<std::string>{"a line"});
    const double before = core_.seconds();
    EXPECT_GE(core_.seconds(), before);
}

TEST_F(CoreOperationsTest, LooksAtTheFolderOfApplications) {
    const Testing::TemporaryDirectory applications;
    EXPECT_EQ(core_.existing(applications.path(), std::nullopt), std::nullopt);
    EXPECT_TRUE(core_.isWritable(applications.path()));
    EXPECT_FALSE(core_.isWritable(applications / "missing"));
    EXPECT_NO_THROW(core_.checkSpace(applications.path(), 1));
    expectInstallerError("Not enough disk space", [&] {
        core_.checkSpace(applications.path(), std::numeric_limits<std::int64_t>::max());
    });
}

TEST_F(CoreOperationsTest, RecoversAndInstallsInTheFolder) {
    const Testing::TemporaryDirectory applications;
    const auto left = applications / ".kavio-install-5E0D7A6C-3F0B-4B8E-9C57-0D9A1B2C3D4E";
    std::filesystem::create_directory(left);
    writeFile(left / "transaction.json", R"({"target":"Kavio.app","phase":"copying","version":"2.0.0"})");
    core_.recover(applications.path(), false);
    EXPECT_FALSE(std::filesystem::exists(left));

    test_.workspace.running = {config_.bundleID};
    expectInstallerError(
        "Close Kavio after saving your work, then retry. Recordings will not be interrupted.", [&] {
            static_cast<void>(
                core_.install(cache_ / "image.dmg", {}, applications.path(), [](InstallerMessage) {}));
        });
}

TEST_F(CoreOperationsTest, AsksForTheImageThatTheInstallerIsOn) {
    test_.processes.tools["/usr/bin/hdiutil"] = [](const auto&) { return ProcessResult{.status = 1}; };
    core_.scheduleEjection("/Volumes/Kavio/Kavio Installer.app");
    ASSERT_EQ(test_.processes.calls.size(), 1U);
    EXPECT_EQ(test_.processes.calls[0].arguments, (std::vector<std::string>{"info", "-plist"}));
}

} // namespace

} // namespace InstallerCore
