#include "InstallerCore/platform/Http.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

const HttpResponse response = {
    .status = 206,
    .headers = {{"Content-Range", "bytes 0-1/2"},
                {"ETAG", "\"a\""},
                {"X", "1"},
                {"x", ""},
                {"X", "2, 3"},
                {"Empty", ""}},
};

TEST(HttpResponseTest, NamesOfHeadersHaveNoCase) {
    for (const char* name : {"Content-Range", "content-range", "CONTENT-RANGE", "cOnTeNt-RaNgE"}) {
        EXPECT_EQ(response.header(name), "bytes 0-1/2") << name;
    }
    EXPECT_EQ(response.header("ETag"), "\"a\"");
}

TEST(HttpResponseTest, OnlyTheWholeNameCounts) {
    for (const char* name :
         {"", "Content", "Content-Range ", "Content_Range", "ontent-Range", "Content-Range:"}) {
        EXPECT_EQ(response.header(name), std::nullopt) << name;
    }
}

TEST(HttpResponseTest, OnlyLettersHaveCase) {
    const HttpResponse other = {.status = 200, .headers = {{"a[b", "1"}, {"\xC3\xA9", "2"}}};
    EXPECT_EQ(other.header("a{b"), std::nullopt);
    EXPECT_EQ(other.header("\xC3\x89"), std::nullopt);
    EXPECT_EQ(other.header("A[B"), "1");
}

TEST(HttpResponseTest, AnEmptyHeaderIsNotAnAbsentOne) {
    EXPECT_EQ(response.header("empty"), "");
    EXPECT_EQ(response.header("missing"), std::nullopt);
    EXPECT_EQ(HttpResponse().header("empty"), std::nullopt);
}

TEST(HttpResponseTest, RepeatedHeadersAreJoinedInTheirOrder) {
    EXPECT_EQ(response.header("X"), "1, , 2, 3");
}

} // namespace

} // namespace InstallerCore
