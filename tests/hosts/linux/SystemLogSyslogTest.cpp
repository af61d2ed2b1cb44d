#include "hosts/linux/SystemLogSyslog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace InstallerCore {

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

TEST(SystemLogSyslogTest, LineGoesToStandardErrorAsItIs) {
    ::testing::internal::CaptureStderr();
    SystemLogSyslog log;
    log.write("Installer failed: 100% %s %n");
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(output, StartsWith("KavioInstaller"));
    EXPECT_THAT(output, EndsWith(": Installer failed: 100% %s %n\n"));
}

TEST(SystemLogSyslogTest, WhatAServerSentCannotMakeASecondLine) {
    ::testing::internal::CaptureStderr();
    SystemLogSyslog log;
    log.write("Installer failed: got a\r\nb\x1B[2J");
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), EndsWith(": Installer failed: got a  b [2J\n"));
}

} // namespace

} // namespace InstallerCore
