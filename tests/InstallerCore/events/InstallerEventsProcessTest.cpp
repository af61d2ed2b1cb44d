#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/install/InstanceLock.h"
#include "tests/InstallerCore/events/EventLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestPlatform.h"

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>

namespace InstallerCore {

namespace {

using Testing::eventsIn;
using Testing::Program;

constexpr int refused = 2; // the program's exit status

class InstallerEventsProcessTest : public testing::Test {
protected:
    [[nodiscard]] std::vector<std::string> recorder(const std::string& event, int count) const {
        return {RECORD_EVENTS, test_.home.path(), event, std::to_string(count)};
    }

    [[nodiscard]] std::vector<std::string> lockedRecorder(const std::string& event) const {
        auto arguments = recorder(event, 1);
        arguments.emplace_back("locked");
        return arguments;
    }

    [[nodiscard]] std::filesystem::path log() const { return test_.cachePath() / "events.jsonl"; }

    Testing::TestPlatform test_;
};

TEST_F(InstallerEventsProcessTest, EachProcessIsASessionOfItsOwn) {
    EXPECT_EQ(Program(recorder("first", 2)).wait(), 0);
    EXPECT_EQ(Program(recorder("second", 2)).wait(), 0);
    InstallerEvents::record("third", std::nullopt, test_.platform);
    const auto events = eventsIn(log());
    ASSERT_EQ(events.size(), 5U);
    EXPECT_EQ(events[0]["sessionId"], events[1]["sessionId"]);
    EXPECT_EQ(events[2]["sessionId"], events[3]["sessionId"]);
    const std::set<std::string> sessions = {events[0]["sessionId"], events[2]["sessionId"],
                                            events[4]["sessionId"]};
    EXPECT_EQ(sessions.size(), 3U);
}

TEST_F(InstallerEventsProcessTest, SecondInstanceStopsAtTheLockAndRecordsNothing) {
    auto lock = takeInstanceLock(privateCache(test_.platform), test_.platform);
    EXPECT_EQ(Program(lockedRecorder("second")).wait(), refused);
    EXPECT_FALSE(std::filesystem::exists(log()));
    lock.reset();
    EXPECT_EQ(Program(lockedRecorder("second")).wait(), 0);
    EXPECT_EQ(eventsIn(log()).size(), 1U);
}

TEST_F(InstallerEventsProcessTest, TwoProcessesAtOnceTearAndLoseNoLine) {
    constexpr int recordsEach = 500;
    Program first(recorder("first", recordsEach));
    Program second(recorder("second", recordsEach));
    ASSERT_TRUE(first.echoes()); // both run, and wait for the end of their input
    ASSERT_TRUE(second.echoes());
    first.endInput();
    second.endInput();
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);

    std::map<std::string, int> counts;
    for (const auto& event : eventsIn(log())) {
        ++counts[event["event"]];
    }
    EXPECT_EQ(counts, (std::map<std::string, int>{{"first", recordsEach}, {"second", recordsEach}}));
}

} // namespace

} // namespace InstallerCore
