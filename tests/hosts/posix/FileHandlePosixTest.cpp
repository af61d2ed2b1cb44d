#include "hosts/posix/FileHandlePosix.h"

#include "hosts/posix/FilesPosix.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::readFile;
using Testing::runInChild;
using Testing::writeFile;

constexpr std::int64_t sixGigabytes = 6'442'450'944;

class FileHandlePosixTest : public testing::Test {
protected:
    std::unique_ptr<FileHandle> open(FileAccess access) {
        return files_.openDirectory(folder_.path())->open("file", access);
    }

    [[nodiscard]] std::filesystem::path file() const { return folder_ / "file"; }

private:
    Testing::TemporaryDirectory folder_;
    FilesPosix files_{folder_.path()};
};

std::string readSome(FileHandle& handle, std::size_t most) {
    std::string text(most, '\0');
    text.resize(handle.read(std::as_writable_bytes(std::span(text))));
    return text;
}

TEST_F(FileHandlePosixTest, ReadGoesOnToTheEnd) {
    writeFile(file(), "abcdefg");
    const auto handle = open(FileAccess::read);
    EXPECT_EQ(readSome(*handle, 3), "abc");
    EXPECT_EQ(readSome(*handle, 3), "def");
    EXPECT_EQ(readSome(*handle, 3), "g");
    EXPECT_EQ(readSome(*handle, 3), "");
    EXPECT_EQ(readSome(*handle, 3), "");
}

TEST_F(FileHandlePosixTest, UpdateBeginsAtTheStartAndKeepsWhatIsThere) {
    writeFile(file(), "abcdefg");
    const auto handle = open(FileAccess::update);
    EXPECT_EQ(readSome(*handle, 2), "ab");
    handle->write(asBytes("CD"));
    handle->close();
    EXPECT_EQ(readFile(file()), "abCDefg");
}

TEST_F(FileHandlePosixTest, SeekToEndTellsTheSizeAndWritesFollow) {
    writeFile(file(), "abc");
    const auto handle = open(FileAccess::update);
    EXPECT_EQ(handle->seekToEnd(), 3);
    handle->write(asBytes("def"));
    EXPECT_EQ(handle->seekToEnd(), 6);
    handle->close();
    EXPECT_EQ(readFile(file()), "abcdef");
}

TEST_F(FileHandlePosixTest, TruncateMovesThePositionThere) {
    writeFile(file(), "abcdef");
    const auto handle = open(FileAccess::update);
    handle->seekToEnd();
    handle->truncate(2);
    handle->write(asBytes("X"));
    EXPECT_EQ(readFile(file()), "abX");
    handle->truncate(0);
    handle->write(asBytes("Y"));
    EXPECT_EQ(readFile(file()), "Y");
}

TEST_F(FileHandlePosixTest, AppendWritesAtTheEndWhoeverElseWrote) {
    writeFile(file(), "a");
    const auto first = open(FileAccess::append);
    const auto second = open(FileAccess::append);
    first->write(asBytes("b"));
    second->write(asBytes("c"));
    first->write(asBytes("d"));
    EXPECT_EQ(readFile(file()), "abcd");
}

TEST_F(FileHandlePosixTest, WritingNothingChangesNothing) {
    writeFile(file(), "abc");
    open(FileAccess::update)->write({});
    EXPECT_EQ(readFile(file()), "abc");
}

TEST_F(FileHandlePosixTest, OffsetsGoBeyondThirtyTwoBits) {
    writeFile(file(), "");
    std::filesystem::resize_file(file(), sixGigabytes);
    const auto handle = open(FileAccess::update);
    EXPECT_EQ(handle->seekToEnd(), sixGigabytes);
    handle->write(asBytes("end"));
    EXPECT_EQ(handle->seekToEnd(), sixGigabytes + 3);
    handle->truncate(sixGigabytes + 1);
    handle->write(asBytes("x"));
    EXPECT_EQ(std::filesystem::file_size(file()), sixGigabytes + 2);
    handle->synchronize();
    handle->close();

    struct stat status{};
    ASSERT_EQ(::stat(file().c_str(), &status), 0);
    EXPECT_LT(status.st_blocks, 1'000) << "the hole was filled";
}

TEST_F(FileHandlePosixTest, WhatTheAccessDoesNotAllowIsAnError) {
    writeFile(file(), "abc");
    expectPlatformError(FileErrorCode::writeUnknown, [this] { open(FileAccess::read)->write(asBytes("x")); });
    expectPlatformError(FileErrorCode::writeUnknown, [this] { open(FileAccess::read)->truncate(0); });
    expectPlatformError(FileErrorCode::readUnknown, [this] { readSome(*open(FileAccess::append), 1); });
    EXPECT_EQ(readFile(file()), "abc");
}

TEST_F(FileHandlePosixTest, ClosedHandleIsSpent) {
    writeFile(file(), "abc");
    const auto handle = open(FileAccess::update);
    handle->close();
    expectPlatformError(FileErrorCode::writeUnknown, [&handle] { handle->write(asBytes("x")); });
    expectPlatformError(FileErrorCode::writeUnknown, [&handle] { handle->truncate(0); });
    expectPlatformError(FileErrorCode::writeUnknown, [&handle] { handle->synchronize(); });
    expectPlatformError(FileErrorCode::writeUnknown, [&handle] { handle->close(); });
    expectPlatformError(FileErrorCode::readUnknown, [&handle] { handle->seekToEnd(); });
    expectPlatformError(FileErrorCode::readUnknown, [&handle] { readSome(*handle, 1); });
    EXPECT_EQ(readFile(file()), "abc");
}

TEST_F(FileHandlePosixTest, FileBeyondTheLimitOfTheProcessIsAnError) {
    writeFile(file(), "abc");
    runInChild([this] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 5, .rlim_max = 5};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        const auto handle = open(FileAccess::append);
        expectPlatformError(FileErrorCode::writeUnknown, [&handle] { handle->write(asBytes("defg")); });
    });
    EXPECT_EQ(readFile(file()), "abcde");
}

TEST_F(FileHandlePosixTest, FullVolumeIsOutOfSpace) {
    runInChild([this] {
        if (!Testing::mountVolume(file().parent_path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        writeFile(file(), "abc");
        const auto handle = open(FileAccess::append);
        const std::string tooMuch(100'000, 'x');
        expectPlatformError(FileErrorCode::writeOutOfSpace, [&] { handle->write(asBytes(tooMuch)); });
        handle->truncate(3);
        handle->write(asBytes("def"));
        handle->close();
        EXPECT_EQ(readFile(file()), "abcdef");
    });
}

} // namespace

} // namespace InstallerCore
