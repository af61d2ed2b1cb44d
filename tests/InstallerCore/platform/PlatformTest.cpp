#include "InstallerCore/platform/Platform.h"

#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace InstallerCore {

namespace {

// Each in a process of its own, since the choice is for the life of a process.

TEST(PlatformDeathTest, WithoutAChosenHostThereIsNone) {
    EXPECT_EXIT(static_cast<void>(Platform::host()), testing::KilledBySignal(SIGABRT), "");
}

TEST(PlatformDeathTest, TheChosenHostIsTheHost) {
    const Testing::TestPlatform test;
    const auto choose = [&test] {
        Platform::setHost(test.platform);
        std::_Exit(&Platform::host() == &test.platform ? 0 : 1);
    };
    EXPECT_EXIT(choose(), testing::ExitedWithCode(0), "");
}

TEST(PlatformDeathTest, TheHostIsChosenOnce) {
    const Testing::TestPlatform test;
    const auto chooseTwice = [&test] {
        Platform::setHost(test.platform);
        Platform::setHost(test.platform);
    };
    EXPECT_EXIT(chooseTwice(), testing::KilledBySignal(SIGABRT), "");
}

} // namespace

} // namespace InstallerCore
