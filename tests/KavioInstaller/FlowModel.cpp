#include "tests/KavioInstaller/FlowModel.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace InstallerCore::Testing {

FlowModel::FlowModel(FlowFixture& flow, OpenResult result) : flow_(flow), result_(std::move(result)) {
    flow_.core.onCancelFlag = [this](const Cancellation& flag) {
        EXPECT_EQ(flag.isCancelled(), isCancelled_) << "the run has not the flag that is its own";
    };
}

void FlowModel::launch() {
    flow_.launch();
    beginCheck();
    expectConsistent();
}

bool FlowModel::close() {
    const bool mayClose = flow_.close();
    EXPECT_EQ(mayClose, !isActive_);
    if (!isActive_) {
        hasEnded_ = true;
    } else if (!isInstalling_) {
        isClosing_ = true;
        isCancelled_ = true;
    }
    expectConsistent();
    return true;
}

bool FlowModel::press() {
    if (!flow_.canPress()) {
        return false;
    }
    flow_.press();
    if (isChecking_) {
        beginCheck();
    } else if (!hasTarget_) {
        beginRun();
    }
    expectConsistent();
    return true;
}

bool FlowModel::completeOpen() {
    const bool isDone = flow_.host.completeOpen(result_);
    expectConsistent();
    return isDone;
}

bool FlowModel::pump() {
    using Origin = RecordingHost::Origin;
    if (flow_.host.isQueueEmpty()) {
        return false;
    }
    const Origin origin = flow_.host.nextOnMain();
    const bool isLastOfWork = !flow_.host.isBusy() && flow_.host.queuedFrom(Origin::background) == 1;
    flow_.host.pump();
    switch (origin) {
    case Origin::transfer:
        break;
    case Origin::waitingBackground:
        isInstalling_ = true;
        break;
    case Origin::background:
        if (isLastOfWork && isChecking_) {
            checkEnded();
        } else if (isLastOfWork) {
            runEnded();
        }
        break;
    case Origin::opening:
        openingEnded();
        break;
    }
    expectConsistent();
    return true;
}

bool FlowModel::resume() {
    const bool isDone = flow_.host.resume();
    expectConsistent();
    return isDone;
}

void FlowModel::beginCheck() {
    ++works_;
    isActive_ = true;
}

void FlowModel::beginRun() {
    expectEventsOnce();
    eventsBefore_ = flow_.core.events.size();
    ++works_;
    isActive_ = true;
    isCancelled_ = false;
}

void FlowModel::checkEnded() {
    isActive_ = flow_.host.opening() > 0;
    if (flow_.core.foundNothing) {
        isChecking_ = false;
        beginRun();
    }
}

void FlowModel::runEnded() {
    const std::string& last = flow_.core.events.back();
    const bool hasFailed = last == "cancelled" || last == "installer_failed";
    if (hasFailed && isClosing_) {
        hasEnded_ = true;
        return;
    }
    isActive_ = false;
    isInstalling_ = false;
    hasTarget_ = !hasFailed;
}

void FlowModel::openingEnded() {
    if (isChecking_) {
        isActive_ = false;
    }
    hasEnded_ = !result_.error && result_.isRunning;
}

FlowState FlowModel::expectedState() const {
    if (isActive_ && isInstalling_) {
        return FlowState::installing;
    }
    if (isActive_ && isClosing_) {
        return FlowState::closing;
    }
    if (isActive_) {
        return isChecking_ ? FlowState::launching : FlowState::downloading;
    }
    if (isChecking_) {
        return FlowState::firstCheckFailed;
    }
    return hasTarget_ ? FlowState::opening : FlowState::stopped;
}

void FlowModel::expectConsistent() {
    constexpr int tooMany = 1000;
    ASSERT_LT(++steps_, tooMany) << "it would go on for ever";
    ASSERT_EQ(flow_.host.terminations, hasEnded_ ? 1 : 0);
    ASSERT_EQ(flow_.host.works, works_);
    if (hasEnded_) {
        EXPECT_FALSE(flow_.host.isBusy()) << "it ended in the middle of a run";
        return;
    }
    ASSERT_EQ(flow_.state(), expectedState());
    EXPECT_EQ(flow_.host.isAwake, isActive_);
    EXPECT_TRUE(isActive_ || !flow_.host.isBusy());
    EXPECT_FALSE(isActive_ && flow_.canPress());
    expectOneOfButtonAndPercentage();
}

void FlowModel::expectOneOfButtonAndPercentage() const {
    if (!flow_.host.window) {
        return;
    }
    const bool hasButton = !flow_.host.window->action.isHidden;
    const bool hasPercentage = !flow_.host.window->percentage.isHidden;
    const bool isPaused = expectedState() == FlowState::stopped && flow_.core.events.back() == "cancelled";
    EXPECT_EQ(hasButton && hasPercentage, isPaused);
    EXPECT_TRUE(hasButton || hasPercentage);
}

void FlowModel::expectEventsOnce() const {
    const Lines events(flow_.core.events.begin() + static_cast<std::ptrdiff_t>(eventsBefore_),
                       flow_.core.events.end());
    EXPECT_EQ(std::set<std::string>(events.begin(), events.end()).size(), events.size())
        << testing::PrintToString(events);
}

void FlowModel::expectAtRest() const {
    expectEventsOnce();
    if (!hasEnded_) {
        EXPECT_FALSE(isActive_);
        EXPECT_TRUE(flow_.host.isQueueEmpty());
        EXPECT_EQ(flow_.host.opening(), 0U);
        EXPECT_TRUE(flow_.canPress()) << "the user is left with nothing to do";
    }
}

} // namespace InstallerCore::Testing
