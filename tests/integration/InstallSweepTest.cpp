#include "tests/integration/InstallSweep.h"

#include <gtest/gtest.h>

namespace InstallerCore::Testing {

namespace {

class InstallSweepTest : public testing::TestWithParam<SweepScenario> {
protected:
    void SetUp() override {
        if (!canTrace()) {
            GTEST_SKIP() << "no process may be traced here";
        }
    }
};

TEST_P(InstallSweepTest, NoKillLeavesTheUserWithoutAnApplication) {
    InstallSweep(GetParam()).killEverywhere();
}

TEST_P(InstallSweepTest, NoFailureLeavesTheUserWithoutAnApplication) {
    InstallSweep(GetParam()).failEverywhere();
}

INSTANTIATE_TEST_SUITE_P(, InstallSweepTest, testing::ValuesIn(sweepScenarios()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

} // namespace

} // namespace InstallerCore::Testing
