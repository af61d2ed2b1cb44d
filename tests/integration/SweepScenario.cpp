#include "tests/integration/SweepScenario.h"

#include <gtest/gtest.h>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;
using Effect = SystemCall::Effect;

constexpr const char* oldVersion = "1.0.0";

// An upgrade that everything stops in, before the first change that the condition holds for.
void interruptUpgrade(InstallRoot& root, const std::function<bool(const SystemCall&)>& condition) {
    root.place(oldVersion);
    root.offer(SweepScenario::offered);
    bool done = false;
    root.start(TracedEffects::changes, [&](const SystemCall& call) {
        if (!done && call.effect == Effect::change && condition(call)) {
            done = true;
            return CallAnswer::kill(Victims::all);
        }
        return CallAnswer::proceed();
    });
    ASSERT_TRUE(done) << "the upgrade was not interrupted";
    root.detachAll(); // the tool knows its volumes again by what a copy of the root would not have
}

void arrangeUpgrade(InstallRoot& root) {
    root.place(oldVersion);
    root.offer(SweepScenario::offered);
}

void arrangeMovedAside(InstallRoot& root) {
    const fs::path target = root.path() / "Applications/Kavio.app";
    interruptUpgrade(root, [&](const SystemCall& call) {
        return call.byFirst && call.paths.size() == 2 && call.paths.back() == target;
    });
    EXPECT_EQ(root.state(), (InstallState{.target = "", .journal = "replacing", .backup = oldVersion}));
}

void arrangeCopying(InstallRoot& root) {
    interruptUpgrade(root, [](const SystemCall& call) {
        return call.program == "ditto" && call.paths.front().filename() == "Kavio.txt";
    });
    EXPECT_EQ(root.state(), (InstallState{.target = oldVersion, .journal = "copying", .backup = ""}));
}

} // namespace

const std::vector<SweepScenario>& sweepScenarios() {
    static const std::vector<SweepScenario> scenarios{
        {.name = "FirstInstallation",
         .previous = "",
         .arrange = [](InstallRoot& root) { root.offer(SweepScenario::offered); }},
        {.name = "Upgrade", .previous = oldVersion, .arrange = arrangeUpgrade, .tools = true},
        {.name = "RecoveryOfWhatWasMovedAside", .previous = oldVersion, .arrange = arrangeMovedAside},
        {.name = "RecoveryOfAnUnfinishedCopy", .previous = oldVersion, .arrange = arrangeCopying},
        {.name = "Rollback", .previous = oldVersion, .arrange = arrangeUpgrade, .refusedInPlace = true},
        {.name = "RefusedFirstInstallation",
         .previous = "",
         .arrange = [](InstallRoot& root) { root.offer(SweepScenario::offered); },
         .refusedInPlace = true},
    };
    return scenarios;
}

} // namespace InstallerCore::Testing
