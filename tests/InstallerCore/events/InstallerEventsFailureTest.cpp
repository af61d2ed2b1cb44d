#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "tests/InstallerCore/events/EventLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::eventsIn;
using testing::IsEmpty;
using Testing::readFile;
using Testing::TestPlatform;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

constexpr const char* notPersisted = "Installer event could not be persisted";

class InstallerEventsFailureTest : public testing::Test {
protected:
    void record(const std::string& event = "installer_opened",
                const std::optional<std::string>& version = std::nullopt) {
        InstallerEvents::record(event, version, test_.platform);
    }

    void expectOneFailure() const { EXPECT_THAT(test_.log.lines(), ElementsAre(notPersisted)); }

    [[nodiscard]] std::filesystem::path log() const { return cache_ / "events.jsonl"; }

    TestPlatform test_;
    std::filesystem::path cache_ = privateCache(test_.platform);
};

TEST_F(InstallerEventsFailureTest, TrapInPlaceOfTheLogIsNotWrittenTo) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        TestPlatform test;
        const Trap trap(privateCache(test.platform) / "events.jsonl", kind);
        InstallerEvents::record("installer_opened", std::nullopt, test.platform);
        trap.expectUntouched();
        EXPECT_THAT(test.log.lines(), ElementsAre(notPersisted));
    }
}

TEST_F(InstallerEventsFailureTest, TrapSwappedInAtAnyMomentIsNotWrittenTo) {
    for (const TrapKind kind : allTraps) {
        for (const char* moment : {"Directory.attributes", "Directory.createIfMissing", "Directory.open"}) {
            SCOPED_TRACE(nameOf(kind) + " before " + moment);
            TestPlatform test;
            const std::filesystem::path place = privateCache(test.platform) / "events.jsonl";
            writeFile(place, "");
            std::optional<Trap> trap;
            test.files.before = [&](const std::string& operation, const std::string&) {
                if (operation == moment) {
                    std::filesystem::remove(place);
                    trap.emplace(place, kind);
                }
            };
            InstallerEvents::record("installer_opened", std::nullopt, test.platform);
            ASSERT_TRUE(trap);
            trap->expectUntouched();
            EXPECT_THAT(test.log.lines(), ElementsAre(notPersisted));
        }
    }
}

TEST_F(InstallerEventsFailureTest, LinkSwappedInWhileALargeLogIsDeletedIsNotWrittenTo) {
    writeFile(log(), std::string(1'000'001, ' '));
    std::optional<Trap> trap;
    test_.files.before = [&](const std::string& operation, const std::string&) {
        if (operation == "Directory.createIfMissing") {
            trap.emplace(log(), TrapKind::danglingLink);
        }
    };
    record();
    ASSERT_TRUE(trap);
    trap->expectUntouched();
    expectOneFailure();
}

TEST_F(InstallerEventsFailureTest, LinkInPlaceOfTheCacheIsNotFollowed) {
    std::filesystem::remove(cache_);
    const Trap trap(cache_, TrapKind::linkToDirectory);
    record();
    trap.expectUntouched();
    expectOneFailure();
}

TEST_F(InstallerEventsFailureTest, NameOrVersionThatIsNotTextIsDropped) {
    record("first");
    record("\xFF");
    record("name", "1.\xC3");
    record("last");
    const auto events = eventsIn(log());
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0]["event"], "first");
    EXPECT_EQ(events[1]["event"], "last");
    EXPECT_THAT(test_.log.lines(), ElementsAre(notPersisted, notPersisted));
}

// Records with the count-th operation of the file system failing: the event is dropped whole, or the fault is
// none that matters. False when there are not so many operations.
bool recordMeetsFaultAt(int count, const std::string& content) {
    TestPlatform test;
    const std::filesystem::path log = privateCache(test.platform) / "events.jsonl";
    writeFile(log, content);
    const auto callsBefore = test.files.calls().size();
    test.files.failAtAny(count, FileErrorCode::writeOutOfSpace);
    InstallerEvents::record("first", std::nullopt, test.platform);
    if (test.files.calls().size() < callsBefore + static_cast<std::size_t>(count)) {
        return false;
    }
    if (test.log.lines().empty()) {
        EXPECT_TRUE(readFile(log).starts_with(content));
        EXPECT_EQ(eventsIn(log).back()["event"], "first");
    } else {
        EXPECT_THAT(test.log.lines(), ElementsAre(notPersisted));
        EXPECT_EQ(readFile(log), content);
    }
    // Nothing of it stands in the way of the next.
    InstallerEvents::record("second", std::nullopt, test.platform);
    EXPECT_EQ(eventsIn(log).back()["event"], "second");
    return true;
}

TEST_F(InstallerEventsFailureTest, FailureOfAnyOperationAddsAWholeLineOrNothing) {
    record("earlier");
    const std::string content = readFile(log());
    int count = 1;
    while (recordMeetsFaultAt(count, content)) {
        ++count;
    }
    EXPECT_GT(count, 9) << "not every operation was tried";
}

TEST_F(InstallerEventsFailureTest, FailureToDeleteALargeLogIsOne) {
    const std::string large(1'000'001, ' ');
    writeFile(log(), large);
    test_.files.failAt("Directory.remove", 1, FileErrorCode::writeNoPermission);
    record();
    EXPECT_EQ(readFile(log()), large);
    expectOneFailure();
}

TEST_F(InstallerEventsFailureTest, SizeThatCannotBeReadIsPassedOver) {
    writeFile(log(), "{}\n");
    test_.files.failAt("Directory.attributes", 1, FileErrorCode::readUnknown);
    record();
    EXPECT_EQ(eventsIn(log()).size(), 2U);
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerEventsFailureTest, LogThatCannotBeMadeIsOne) {
    test_.files.failAt("Directory.createIfMissing", 1, FileErrorCode::writeOutOfSpace);
    record();
    EXPECT_FALSE(std::filesystem::exists(log()));
    expectOneFailure();
}

TEST_F(InstallerEventsFailureTest, LineCutShortByALimitIsTakenBack) {
    record("first");
    const std::string before = readFile(log());
    Testing::runInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = before.size() + 10, .rlim_max = RLIM_INFINITY};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        record("second");
        expectOneFailure();
        EXPECT_EQ(readFile(log()), before);
    });
    record("third");
    EXPECT_EQ(eventsIn(log()).back()["event"], "third");
}

TEST_F(InstallerEventsFailureTest, FullVolumeLeavesNoTornLine) {
    Testing::runInChild([this] {
        if (!Testing::mountVolume(test_.home.path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        int recorded = 0;
        while (test_.log.lines().empty()) {
            record("event", std::string(700, 'v'));
            ++recorded;
            ASSERT_LT(recorded, 1'000) << "the volume does not fill";
        }
        EXPECT_EQ(eventsIn(log()).size(), static_cast<std::size_t>(recorded - 1));
        expectOneFailure();
    });
}

TEST_F(InstallerEventsFailureTest, ReadOnlyCacheIsOne) {
    Testing::runInChild([this] {
        if (!Testing::mountVolume(test_.home.path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        record("first");
        ASSERT_EQ(::mount("tmpfs", test_.home.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=64k"),
                  0);
        record("second");
        EXPECT_EQ(eventsIn(log()).size(), 1U);
        expectOneFailure();
    });
}

} // namespace

} // namespace InstallerCore
