#pragma once

#include "tests/KavioInstaller/FlowFixture.h"

namespace InstallerCore::Testing {

// The table of states that a flow is held against: it takes all steps itself, knows from what goes in and out
// where the flow must stand after each, and fails the test where it does not.
class FlowModel {
public:
    // The flow is not launched yet. Every opening ends with the result.
    FlowModel(FlowFixture& flow, OpenResult result);

    void launch();

    // Steps; each false when there is nothing for it to do.
    bool close();
    bool press();
    bool completeOpen();
    bool pump();
    bool resume();

    [[nodiscard]] bool hasEnded() const { return hasEnded_; }

    // The application has ended, or nothing happens any more but by the user.
    void expectAtRest() const;

private:
    void beginCheck();
    void beginRun();
    void checkEnded();
    void runEnded();
    void openingEnded();
    [[nodiscard]] FlowState expectedState() const;
    void expectConsistent();
    void expectOneOfButtonAndPercentage() const;
    void expectEventsOnce() const; // in this work

    FlowFixture& flow_;
    OpenResult result_;
    int steps_ = 0;
    std::size_t works_ = 0;
    std::size_t eventsBefore_ = 0; // this work
    bool isChecking_ = true;
    bool isActive_ = false;
    bool isInstalling_ = false;
    bool isClosing_ = false;
    bool isCancelled_ = false; // the run that goes on, by a close
    bool hasTarget_ = false;
    bool hasEnded_ = false;
};

} // namespace InstallerCore::Testing
