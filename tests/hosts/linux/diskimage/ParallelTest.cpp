#include "hosts/linux/diskimage/Parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <string>

namespace InstallerCore {

namespace {

constexpr std::size_t count = 1000;

std::string errorOf(std::size_t calls, const std::function<Work()>& makeWork) {
    try {
        runOnAllCores(calls, makeWork);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(ParallelTest, EveryNumberIsWorkedOnOnce) {
    for (const std::size_t calls : {std::size_t{0}, std::size_t{1}, std::size_t{2}, count}) {
        std::array<std::atomic<int>, count> worked{};
        runOnAllCores(calls, [&] { return [&](std::size_t index) { ++worked.at(index); }; });
        for (std::size_t index = 0; index < count; ++index) {
            EXPECT_EQ(worked.at(index), index < calls ? 1 : 0) << index;
        }
    }
}

TEST(ParallelTest, TheErrorOfTheLowestNumberGoesOn) {
    for (int round = 0; round < 20; ++round) {
        const auto makeWork = [] {
            return [](std::size_t index) {
                if (index >= 20) {
                    throw std::runtime_error(std::to_string(index));
                }
            };
        };
        EXPECT_EQ(errorOf(count, makeWork), "20");
    }
}

TEST(ParallelTest, NothingNewBeginsAfterAnError) {
    std::atomic<std::size_t> begun = 0;
    const auto makeWork = [&] {
        return [&](std::size_t /*index*/) {
            ++begun;
            throw std::runtime_error("failed");
        };
    };
    EXPECT_EQ(errorOf(count, makeWork), "failed");
    EXPECT_LE(begun, 8U); // as many as there may be threads
}

TEST(ParallelTest, WorkThatCannotBeMadeIsAnErrorToo) {
    EXPECT_EQ(errorOf(count, []() -> Work { throw std::runtime_error("no work"); }), "no work");
}

} // namespace

} // namespace InstallerCore
