#include "InstallerCore/support/Split.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Pieces = std::vector<std::string_view>;

struct Case {
    std::string_view text;
    Pieces kept;
    Pieces dropped;
};

TEST(SplitTest, PiecesStandBetweenTheSeparators) {
    const Case cases[] = {
        {"", {""}, {}},
        {".", {"", ""}, {}},
        {"a", {"a"}, {"a"}},
        {"a.b.c", {"a", "b", "c"}, {"a", "b", "c"}},
        {".a.", {"", "a", ""}, {"a"}},
        {"a..b", {"a", "", "b"}, {"a", "b"}},
        {"...", {"", "", "", ""}, {}},
        {"a,b", {"a,b"}, {"a,b"}},
        {{"a\0.b", 4}, {{"a\0", 2}, "b"}, {{"a\0", 2}, "b"}},
    };
    for (const Case& expected : cases) {
        EXPECT_EQ(split(expected.text, '.', EmptyPieces::keep), expected.kept) << expected.text;
        EXPECT_EQ(split(expected.text, '.', EmptyPieces::drop), expected.dropped) << expected.text;
    }
}

TEST(SplitTest, PiecesAreViewsIntoTheText) {
    const std::string_view text = "ab.cd";
    EXPECT_EQ(split(text, '.', EmptyPieces::keep)[1].data(), text.data() + 3);
}

} // namespace

} // namespace InstallerCore
