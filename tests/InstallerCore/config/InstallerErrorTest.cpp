#include "InstallerCore/config/InstallerError.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(InstallerErrorTest, TheDescriptionIsExactlyTheText) {
    for (const std::string& text : {std::string("X"), std::string(), std::string(" X.\n"),
                                    std::string("\xC3\xA9 %@ %s"), std::string(100'000, 'x')}) {
        const InstallerError error = InstallerError::message(text);
        EXPECT_EQ(error.what(), text);
        EXPECT_EQ(error.errorDescription(), text);
    }
}

TEST(InstallerErrorTest, TheTextIsACopy) {
    std::string text = "X";
    const InstallerError error = InstallerError::message(text);
    text = "Y";
    EXPECT_STREQ(error.what(), "X");
}

TEST(InstallerErrorTest, ErrorsOfTheSameTextAreIndistinguishable) {
    const InstallerError first = InstallerError::message("X");
    const InstallerError second = InstallerError::message("X");
    EXPECT_EQ(first.errorDescription(), second.errorDescription());
    EXPECT_STREQ(first.what(), second.what());
}

TEST(InstallerErrorTest, HasOneDomainAndNoCode) {
    EXPECT_EQ(InstallerError::domain, "InstallerCore.InstallerError");
    EXPECT_EQ(InstallerError::code, 0);
}

TEST(InstallerErrorTest, IsCaughtAsAnyError) {
    try {
        throw InstallerError::message("X");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "X");
    }
}

TEST(RequireTest, PassesWhenTheConditionHolds) {
    EXPECT_NO_THROW(require(true, "X"));
}

TEST(RequireTest, ThrowsTheTextUnchangedOtherwise) {
    Testing::expectInstallerError("X", [] { require(false, "X"); });
    Testing::expectInstallerError("", [] { require(false, ""); });
    Testing::expectInstallerError(" any: text %@ ", [] { require(false, " any: text %@ "); });
}

} // namespace

} // namespace InstallerCore
