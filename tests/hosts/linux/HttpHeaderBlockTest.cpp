#include "hosts/linux/HttpHeaderBlock.h"

#include <gtest/gtest.h>

#include <utility>

namespace InstallerCore {

namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

// The headers of a block whose last line, and no other, ends it.
Headers read(const std::vector<std::string_view>& lines) {
    HttpHeaderBlock block;
    for (const std::string_view& line : lines) {
        EXPECT_EQ(block.add(line), &line == &lines.back()) << line;
    }
    Headers headers;
    for (const HttpHeader& header : block.headers()) {
        headers.emplace_back(header.name, header.value);
    }
    return headers;
}

TEST(HttpHeaderBlockTest, EmptyLineEndsIt) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "\r\n"}), Headers());
    EXPECT_EQ(read({"HTTP/1.1 200 OK\n", "\n"}), Headers());
    EXPECT_EQ(read({"HTTP/2 200 \r\n", "etag: \"a\"\r\n", "\r\n"}), (Headers{{"etag", "\"a\""}}));
}

// libcurl takes a line that begins with CR for the end, whatever follows.
TEST(HttpHeaderBlockTest, LineThatBeginsWithCarriageReturnEndsIt) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "A: 1\r\n", "\rB: 2\r\n"}), (Headers{{"A", "1"}}));
}

TEST(HttpHeaderBlockTest, ValuesLoseTheBlanksAroundThemAndNothingElse) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "A:1\r\n", "B: \t 2 3  \r\n", "C:\r\n", "D: x:y, z\r\n", "\r\n"}),
              (Headers{{"A", "1"}, {"B", "2 3"}, {"C", ""}, {"D", "x:y, z"}}));
}

TEST(HttpHeaderBlockTest, OrderAndRepetitionAreKept) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "B: 1\r\n", "A: 2\r\n", "b: 3\r\n", "\r\n"}),
              (Headers{{"B", "1"}, {"A", "2"}, {"b", "3"}}));
}

TEST(HttpHeaderBlockTest, StatusLineStartsAfresh) {
    HttpHeaderBlock block;
    EXPECT_FALSE(block.add("HTTP/1.1 103 Early Hints\r\n"));
    EXPECT_FALSE(block.add("ETag: \"hint\"\r\n"));
    EXPECT_TRUE(block.add("\r\n"));
    EXPECT_FALSE(block.add("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(block.headers().empty());
}

TEST(HttpHeaderBlockTest, HeaderNamedLikeAStatusLineStartsNothing) {
    EXPECT_EQ(read({"HTTP/1.1 206 Partial\r\n", "A: 1\r\n", "HTTP/x: 2\r\n", "\r\n"}),
              (Headers{{"A", "1"}, {"HTTP/x", "2"}}));
}

TEST(HttpHeaderBlockTest, FoldedLineContinuesTheValue) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "A: one\r\n", "  two \r\n", "\tthree\r\n", "B: 1\r\n", "\r\n"}),
              (Headers{{"A", "one two three"}, {"B", "1"}}));
}

TEST(HttpHeaderBlockTest, FoldedLineOfBlanksIsNoEnd) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "A: 1\r\n", " \r\n", "\t\n", "B: 2\r\n", "\r\n"}),
              (Headers{{"A", "1"}, {"B", "2"}}));
}

TEST(HttpHeaderBlockTest, FoldedLineWithNothingToContinueIsNoHeader) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", " A: 1\r\n", "B: 2\r\n", "\r\n"}), (Headers{{"B", "2"}}));
}

TEST(HttpHeaderBlockTest, LineWithoutColonIsIgnored) {
    EXPECT_EQ(read({"HTTP/1.1 200 OK\r\n", "nonsense\r\n", ": nameless\r\n", "A: 1\r\n", "\r\n"}),
              (Headers{{"", "nameless"}, {"A", "1"}}));
}

} // namespace

} // namespace InstallerCore
