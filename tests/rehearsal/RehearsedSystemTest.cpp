#include "rehearsal/RehearsedSystem.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using Rehearsal::RehearsedSystem;

class OneMachine final : public SystemInfo {
public:
    [[nodiscard]] bool hasArm64() const noexcept override { return true; }

    [[nodiscard]] SystemVersion version() const noexcept override {
        return {.major = 13, .minor = 5, .patch = 1};
    }
};

std::string textOf(const SystemVersion& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

TEST(RehearsedSystemTest, IsTheMachineUnlessToldOtherwise) {
    const RehearsedSystem system(OneMachine(), "", "");
    EXPECT_TRUE(system.hasArm64());
    EXPECT_EQ(textOf(system.version()), "13.5.1");
}

TEST(RehearsedSystemTest, StandsForAnyOtherMachine) {
    const RehearsedSystem old(OneMachine(), "11.7.10", "x64");
    EXPECT_FALSE(old.hasArm64());
    EXPECT_EQ(textOf(old.version()), "11.7.10");
    EXPECT_TRUE(RehearsedSystem(OneMachine(), "", "arm64").hasArm64());
}

TEST(RehearsedSystemTest, RefusesWhatNamesNoMachine) {
    for (const char* const version :
         {"14", "14.0", "14.0.0.0", "14.0.0 ", "14..0", "a.b.c", "14.-1.0", ".14.0.0"}) {
        EXPECT_THROW(RehearsedSystem(OneMachine(), version, ""), std::runtime_error) << version;
    }
    EXPECT_THROW(RehearsedSystem(OneMachine(), "", "x86_64"), std::runtime_error);
}

} // namespace

} // namespace InstallerCore
