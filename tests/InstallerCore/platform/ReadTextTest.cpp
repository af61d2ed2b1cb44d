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

TEST_F(ReadTextTest, BytesAreWhateverIsThereFromThePositionOn) {
    const std::string content("\xFF\0\n text \xED\xA0\x80", 12);
    Testing::writeFile(test_.home / "file", content);
    const auto file = test_.platform.files.openForReading(test_.home / "file");
    EXPECT_EQ(asText(readBytes(*file, content.size())), content);
    EXPECT_TRUE(readBytes(*file, 0).empty()) << "at the end by now";
    const auto second = test_.platform.files.openForReading(test_.home / "file");
    std::byte first{};
    EXPECT_EQ(second->read({&first, 1}), 1U);
    EXPECT_EQ(asText(readBytes(*second, content.size() - 1)), content.substr(1));
}

TEST_F(ReadTextTest, LimitOfBytesHoldsAroundThePieces) {
    constexpr std::size_t piece = 65'536;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, piece - 1, piece, piece + 1, 3 * piece}) {
        SCOPED_TRACE(size);
        Testing::writeFile(test_.home / "file", std::string(size, 'x'));
        EXPECT_EQ(readBytes(*test_.platform.files.openForReading(test_.home / "file"), size).size(), size);
        if (size > 0) {
            const auto file = test_.platform.files.openForReading(test_.home / "file");
            expectPlatformError(FileErrorCode::readTooLarge,
                                [&] { static_cast<void>(readBytes(*file, size - 1)); });
        }
    }
}

// That much memory would not be given.
TEST_F(ReadTextTest, HugeLimitOfASmallFileCostsNothing) {
    Testing::writeFile(test_.home / "file", "text");
    const auto file = test_.platform.files.openForReading(test_.home / "file");
    EXPECT_EQ(readBytes(*file, std::size_t{1} << 60U).size(), 4U);
}

// A terabyte of nothing.
TEST_F(ReadTextTest, ReadingOfAVastFileEndsAtTheLimit) {
    Testing::writeFile(test_.home / "file", "");
    std::filesystem::resize_file(test_.home / "file", std::uintmax_t{1} << 40U);
    const auto file = test_.platform.files.openForReading(test_.home / "file");
    expectPlatformError(FileErrorCode::readTooLarge, [&] { static_cast<void>(readBytes(*file, 1'000'000)); });
}

} // namespace

} // namespace InstallerCore
