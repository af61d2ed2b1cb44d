#include "rehearsal/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using Rehearsal::CommandLine;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

CommandLine read(std::vector<std::string> words) {
    words.insert(words.begin(), "program");
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    return CommandLine::read(static_cast<int>(arguments.size()), arguments.data(), {"--size", "--name"});
}

TEST(CommandLineTest, OptionsMayStandAnywhereAmongTheOperands) {
    const CommandLine line = read({"--size", "12", "here", "--name", "--odd", "there"});
    EXPECT_THAT(line.operands, ElementsAre("here", "there"));
    EXPECT_EQ(line.number("--size", 1), 12);
    EXPECT_EQ(line.option("--name"), "--odd");
}

TEST(CommandLineTest, AnOptionThatIsLeftOutTakesItsDefault) {
    const CommandLine line = read({});
    EXPECT_EQ(line.number("--size", 7), 7);
    EXPECT_EQ(line.option("--name"), "");
    EXPECT_EQ(line.option("--name", "nobody"), "nobody");
}

TEST(CommandLineTest, WhatCannotBeMeantIsRefused) {
    const auto refusal = [](const char* text) { return ThrowsMessage<std::runtime_error>(HasSubstr(text)); };
    EXPECT_THAT([] { read({"--colour", "red"}); }, refusal("no option --colour"));
    EXPECT_THAT([] { read({"here", "--size"}); }, refusal("--size has no value"));
    EXPECT_THAT([] { read({"--size", "1", "--size", "1"}); }, refusal("--size is given twice"));
}

TEST(CommandLineTest, ANumberIsNothingButDigits) {
    for (const char* const text : {"", "-1", "1.5", "0x10", " 1", "1 ", "18446744073709551616"}) {
        EXPECT_THROW(static_cast<void>(read({"--size", text}).number("--size", 0)), std::runtime_error)
            << text;
    }
    EXPECT_EQ(read({"--size", "18446744073709551615"}).number("--size", 0), UINT64_MAX);
}

} // namespace

} // namespace InstallerCore
