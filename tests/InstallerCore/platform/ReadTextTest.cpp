#include "InstallerCore/platform/ReadText.h"

#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;

class ReadTextTest : public testing::Test {
protected:
    [[nodiscard]] std::string read(const std::string& content, std::size_t limit) {
        Testing::writeFile(test_.home / "file", content);
        return readText(*test_.platform.files.openDirectory(test_.home.path()), "file", limit);
    }

    Testing::TestPlatform test_;
};

TEST_F(ReadTextTest, GivesTheWholeContent) {
    EXPECT_EQ(read("", 10), "");
    EXPECT_EQ(read("", 0), "");
    EXPECT_EQ(read("a\n", 10), "a\n");
    EXPECT_EQ(read({"\xEF\xBB\xBF\xC3\xA9\0\n", 7}, 10), std::string("\xEF\xBB\xBF\xC3\xA9\0\n", 7));
}

TEST_F(ReadTextTest, TheLimitIsTheLargestSize) {
    const std::string content(100'000, 'x');
    EXPECT_EQ(read(content, content.size()), content);
    expectPlatformError(FileErrorCode::readTooLarge,
                        [&] { static_cast<void>(read(content, content.size() - 1)); });
}

TEST_F(ReadTextTest, OnlyUtf8IsText) {
    for (const char* content : {"\xFF", "a\xC3", "\xED\xA0\x80"}) {
        expectPlatformError(FileErrorCode::readNotText, [&] { static_cast<void>(read(content, 10)); });
    }
}

TEST_F(ReadTextTest, AMissingFileIsTold) {
    const auto directory = test_.platform.files.openDirectory(test_.home.path());
    try {
        static_cast<void>(readText(*directory, "missing", 10));
        ADD_FAILURE() << "no error";
    } catch (const PlatformError& error) {
        EXPECT_TRUE(error.isNoSuchFile());
    }
}

} // namespace

} // namespace InstallerCore
