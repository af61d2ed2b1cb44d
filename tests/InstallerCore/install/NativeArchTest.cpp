#include "InstallerCore/install/NativeArch.h"

#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(NativeArchTest, ArmIsArm64AndEverythingElseX64) {
    Testing::TestPlatform test;
    test.system.arm64 = true;
    EXPECT_EQ(nativeArch(test.platform), "arm64");
    test.system.arm64 = false;
    EXPECT_EQ(nativeArch(test.platform), "x64");
}

} // namespace

} // namespace InstallerCore
