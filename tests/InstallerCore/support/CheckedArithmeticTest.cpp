#include "InstallerCore/support/CheckedArithmetic.h"

#include <gtest/gtest.h>

#include <csignal>
#include <limits>

namespace InstallerCore {

namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(CheckedArithmeticTest, ResultsReachBothEndsOfTheRange) {
    EXPECT_EQ(checkedAdd(largest - 1, 1), largest);
    EXPECT_EQ(checkedAdd(smallest, largest), -1);
    EXPECT_EQ(checkedSubtract(smallest + 1, 1), smallest);
    EXPECT_EQ(checkedSubtract(-1, smallest), largest);
    EXPECT_EQ(checkedMultiply(largest / 4, 4), largest - 3);
    EXPECT_EQ(checkedMultiply(smallest / 2, 2), smallest);
    EXPECT_EQ(checkedMultiply(1'000'000'000'000, 4), 4'000'000'000'000);
}

void expectAbort(std::int64_t (*operation)(std::int64_t, std::int64_t), std::int64_t a, std::int64_t b) {
    EXPECT_EXIT(static_cast<void>(operation(a, b)), testing::KilledBySignal(SIGABRT), "") << a << ' ' << b;
}

TEST(CheckedArithmeticDeathTest, OverflowAborts) {
    expectAbort(checkedAdd, largest, 1);
    expectAbort(checkedAdd, smallest, -1);
    expectAbort(checkedSubtract, smallest, 1);
    expectAbort(checkedSubtract, 0, smallest);
    expectAbort(checkedMultiply, largest / 4 + 1, 4);
    expectAbort(checkedMultiply, smallest, -1);
}

} // namespace

} // namespace InstallerCore
