#include "InstallerCore/events/InstallerEvents.h"

#include "InstallerCore/download/DownloadCache.h"
#include "tests/InstallerCore/events/EventLog.h"
#include "tests/support/TestPlatform.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <regex>
#include <string>
#include <thread>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::eventsIn;
using testing::IsEmpty;
using Testing::readFile;
using Testing::wholeLines;
using Testing::writeFile;

class InstallerEventsTest : public testing::Test {
protected:
    void record(const std::string& event, const std::optional<std::string>& version = std::nullopt) {
        InstallerEvents::record(event, version, test_.platform);
    }

    [[nodiscard]] std::filesystem::path log() const { return test_.cachePath() / "events.jsonl"; }

    Testing::TestPlatform test_;
};

std::vector<std::string> keysOf(const nlohmann::json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.push_back(key);
    }
    return keys;
}

TEST_F(InstallerEventsTest, FirstRecordOfAnAccountMakesTheCacheAndAPrivateLogOfOneLine) {
    record("installer_opened");
    EXPECT_EQ(Testing::permissionsOf(test_.cachePath()), 0700U);
    EXPECT_EQ(Testing::permissionsOf(log()), 0600U);
    EXPECT_EQ(eventsIn(log()).size(), 1U);
    EXPECT_THAT(test_.realFiles.openDirectory(test_.cachePath())->names(), ElementsAre("events.jsonl"));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerEventsTest, LineIsACompactObjectOfTheDescribedKeys) {
    record("installer_opened");
    record("manifest_resolved", "1.2.3");
    const auto events = eventsIn(log());
    ASSERT_EQ(events.size(), 2U);
    EXPECT_THAT(keysOf(events[0]),
                testing::UnorderedElementsAre("event", "sessionId", "platform", "timestamp"));
    EXPECT_THAT(keysOf(events[1]),
                testing::UnorderedElementsAre("event", "sessionId", "platform", "timestamp", "appVersion"));
    EXPECT_EQ(events[0]["event"], "installer_opened");
    EXPECT_EQ(events[0]["platform"], "macos");
    EXPECT_EQ(events[1]["event"], "manifest_resolved");
    EXPECT_EQ(events[1]["appVersion"], "1.2.3");
    for (const std::string& line : wholeLines(log())) {
        EXPECT_EQ(nlohmann::ordered_json::parse(line).dump(), line) << "not compact";
    }
}

TEST_F(InstallerEventsTest, EmptyVersionIsAVersion) {
    record("manifest_resolved", "");
    EXPECT_EQ(eventsIn(log()).at(0).at("appVersion"), "");
}

TEST_F(InstallerEventsTest, TimestampIsMillisecondsSince1970WithTheirFraction) {
    test_.clock.set(WallTime(std::chrono::seconds(1'750'000'000) + std::chrono::microseconds(123'456)));
    record("installer_opened");
    test_.clock.set(WallTime(std::chrono::seconds(1'750'000'000)));
    record("installer_opened");
    const auto events = eventsIn(log());
    ASSERT_TRUE(events.at(0)["timestamp"].is_number());
    EXPECT_DOUBLE_EQ(events[0]["timestamp"].get<double>(), 1'750'000'000'123.456);
    EXPECT_TRUE(events[1]["timestamp"].is_number_float());
    EXPECT_EQ(events[1]["timestamp"].get<double>(), 1'750'000'000'000.0);
}

TEST_F(InstallerEventsTest, SessionIsOneRandomUuidForTheProcess) {
    Testing::TestPlatform other;
    record("installer_opened");
    InstallerEvents::record("installer_failed", std::nullopt, other.platform);
    record("cancelled");
    const std::string session = eventsIn(log()).at(0).at("sessionId");
    const std::regex lowerCaseVersion4("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    EXPECT_TRUE(std::regex_match(session, lowerCaseVersion4)) << session;
    EXPECT_EQ(eventsIn(log()).at(1).at("sessionId"), session);
    EXPECT_EQ(eventsIn(other.cachePath() / "events.jsonl").at(0).at("sessionId"), session);
}

TEST_F(InstallerEventsTest, AnyNameStaysOneLine) {
    const std::vector<std::string> names = {
        "", "a\nb\r\n", "\"quoted\" \\", std::string("nul\0", 4), "\xE2\x80\xA8é", std::string(100'000, 'n')};
    for (const std::string& name : names) {
        record(name, name);
    }
    const auto events = eventsIn(log());
    ASSERT_EQ(events.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(events[i]["event"], names[i]);
        EXPECT_EQ(events[i]["appVersion"], names[i]);
    }
}

TEST_F(InstallerEventsTest, LogOfAMillionBytesIsKeptAndOneByteMoreStartsAfresh) {
    static_cast<void>(privateCache(test_.platform));
    const std::string million = std::string(999'999, ' ') + "\n";
    writeFile(log(), million);
    record("kept");
    const std::string content = readFile(log());
    ASSERT_TRUE(content.starts_with(million));
    EXPECT_EQ(nlohmann::json::parse(content.substr(million.size())).at("event"), "kept");

    writeFile(log(), " " + million);
    std::filesystem::permissions(log(), std::filesystem::perms{0644});
    record("afresh");
    const auto events = eventsIn(log());
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["event"], "afresh");
    EXPECT_EQ(Testing::permissionsOf(log()), 0600U);
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerEventsTest, LogBeyondThirtyTwoBitsStartsAfresh) {
    static_cast<void>(privateCache(test_.platform));
    writeFile(log(), "");
    std::filesystem::resize_file(log(), 4'294'967'296); // 0 in 32 bits
    record("afresh");
    EXPECT_EQ(eventsIn(log()).size(), 1U);
}

TEST_F(InstallerEventsTest, LogGrowsPastTheLimitByOneLineOnly) {
    const std::string version(100'000, '9');
    for (int i = 0; i < 30; ++i) {
        record("manifest_resolved", version);
        EXPECT_LT(std::filesystem::file_size(log()), 1'000'000U + version.size() + 200U);
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerEventsTest, RecordsFromManyThreadsAreAllThereAndWhole) {
    constexpr std::size_t threadCount = 8;
    constexpr int recordsEach = 500;
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < recordsEach; ++i) {
                record("thread" + std::to_string(thread), std::to_string(i));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::vector<int> next(threadCount, 0);
    for (const auto& event : eventsIn(log())) {
        const std::string name = event["event"];
        const auto thread = static_cast<std::size_t>(std::stoi(name.substr(6)));
        EXPECT_EQ(event["appVersion"], std::to_string(next.at(thread)++));
    }
    EXPECT_THAT(next, testing::Each(recordsEach));
    EXPECT_THAT(test_.log.lines(), IsEmpty());

    // One record at a time: the operations of two are never mixed.
    const auto calls = test_.files.calls();
    const std::size_t perRecord = calls.size() / (threadCount * recordsEach);
    std::size_t outOfTurn = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        outOfTurn += calls[i] == calls[i % perRecord] ? 0U : 1U;
    }
    EXPECT_EQ(outOfTurn, 0U);
}

} // namespace

} // namespace InstallerCore
