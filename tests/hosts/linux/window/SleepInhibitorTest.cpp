#include "hosts/linux/window/SleepInhibitor.h"

#include "tests/hosts/linux/window/FakeSessionManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>

namespace InstallerCore {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using Testing::FakeSessionManager;
using testing::IsEmpty;
using testing::Not;

constexpr const char* request = "idle:sleep|Kavio Installer|Kavio is being installed|block";

FakeSessionManager* manager = nullptr; // main's

class SleepInhibitorTest : public testing::Test {
protected:
    void SetUp() override {
        manager->answerWith(FakeSessionManager::Answer::grant);
        static_cast<void>(manager->takeRequests());
    }

    SleepInhibitor inhibitor;
};

TEST_F(SleepInhibitorTest, AsksOnceForAsLongAsItHolds) {
    inhibitor.hold(true);
    EXPECT_THAT(manager->takeRequests(), ElementsAre(request));
    inhibitor.hold(true);
    EXPECT_THAT(manager->takeRequests(), IsEmpty());
}

TEST_F(SleepInhibitorTest, GivesBackAndMayAskAgain) {
    inhibitor.hold(true);
    inhibitor.hold(false);
    manager->waitForRelease();
    inhibitor.hold(false);
    inhibitor.hold(true);
    EXPECT_THAT(manager->takeRequests(), ElementsAre(request, request));
}

TEST_F(SleepInhibitorTest, GivesBackWhenItGoes) {
    {
        SleepInhibitor brief;
        brief.hold(true);
    }
    manager->waitForRelease();
}

TEST_F(SleepInhibitorTest, HandsWhatItHoldsToNoChild) {
    inhibitor.hold(true);
    EXPECT_THAT(manager->heldDescriptors(), AllOf(Not(IsEmpty()), Each(false)));
}

TEST_F(SleepInhibitorTest, GoesOnWhereItIsRefused) {
    for (const auto answer : {FakeSessionManager::Answer::refuse, FakeSessionManager::Answer::none}) {
        manager->answerWith(answer);
        inhibitor.hold(true);
        EXPECT_THAT(manager->takeRequests(), ElementsAre(request));
    }
    manager->answerWith(FakeSessionManager::Answer::grant);
    inhibitor.hold(true);
    EXPECT_THAT(manager->takeRequests(), ElementsAre(request));
    EXPECT_THAT(manager->heldDescriptors(), Not(IsEmpty()));
}

} // namespace

int testWithSessionManager() {
    FakeSessionManager own;
    manager = &own;
    return RUN_ALL_TESTS();
}

} // namespace InstallerCore

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    const QCoreApplication application(count, arguments);
    return InstallerCore::testWithSessionManager();
}
