#include "hosts/shared/LogLine.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(LogLineTest, ControlCharactersBecomeBlanks) {
    using namespace std::string_literals;
    EXPECT_EQ(logLine("a\r\nb\x1B[2J\x7F\0c"s), "a  b [2J  c");
}

TEST(LogLineTest, AllElseStays) {
    EXPECT_EQ(logLine("Installer failed: 100% %s \xC3\xA4 \xFF"), "Installer failed: 100% %s \xC3\xA4 \xFF");
    EXPECT_EQ(logLine(""), "");
}

} // namespace

} // namespace InstallerCore
