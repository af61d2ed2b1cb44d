#include "hosts/linux/copy/CopyError.h"
#include "hosts/linux/copy/CopyTree.h"
#include "tests/hosts/linux/copy/CopyCalls.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using Testing::AtCopyCall;
using Testing::TemporaryDirectory;
using Testing::TreeSnapshot;
using Testing::writeFile;

// A tree with a file, a link and a directory, and what happens to it while it is copied.
class CopyTreeChangesTest : public testing::Test {
protected:
    CopyTreeChangesTest() {
        std::filesystem::create_directories(source / "folder");
        writeFile(source / "file", std::string(10'000, 'x'));
        std::filesystem::create_hard_link(source / "file", source / "second");
        std::filesystem::create_symlink("file", source / "link");
        writeFile(directory / "outside", "outside");
    }

    void copy() {
        copyTree(source, destination, [this](const std::string& line) { lines.push_back(line); });
    }

    std::string refusal() {
        try {
            copy();
        } catch (const CopyError& error) {
            return error.what();
        }
        return "";
    }

    ~CopyTreeChangesTest() override { Testing::onCopyCall = nullptr; }

    static constexpr const char* changed = ": changed while it was being copied";
    TemporaryDirectory directory;
    std::filesystem::path source = directory / "source";
    std::filesystem::path destination = directory / "copy";
    std::vector<std::string> lines;
};

// Does it before the first `call` after the n-th look at an entry: the root is the first, "file" the second,
// its copy the third, "folder" the fourth.
void afterLook(int number, const std::string& call, const std::function<void()>& change) {
    Testing::onCopyCall = [=, looks = 0](const std::string& name) mutable {
        looks += name == "fstatat" ? 1 : 0;
        if (looks == number && name == call) {
            looks = 1'000'000;
            change();
        }
        return 0;
    };
}

TEST_F(CopyTreeChangesTest, aFileThatBecomesALinkIsNotFollowed) {
    afterLook(2, "openat", [this] {
        std::filesystem::remove(source / "file");
        std::filesystem::create_symlink(directory / "outside", source / "file");
    });
    EXPECT_EQ(refusal(), (source / "file").string() + changed);
    EXPECT_FALSE(std::filesystem::exists(destination / "file"));
}

TEST_F(CopyTreeChangesTest, aFileThatVanishesIsAnError) {
    afterLook(2, "openat", [this] { std::filesystem::remove(source / "file"); });
    EXPECT_EQ(refusal(), (source / "file").string() + changed);
}

TEST_F(CopyTreeChangesTest, aDirectoryThatBecomesALinkIsNotFollowed) {
    afterLook(4, "openat", [this] {
        std::filesystem::remove(source / "folder");
        std::filesystem::create_directory_symlink(directory.path(), source / "folder");
    });
    EXPECT_EQ(refusal(), (source / "folder").string() + changed);
}

TEST_F(CopyTreeChangesTest, aFileThatShrinksIsAnError) {
    const AtCopyCall shrink("ioctl", 1, [this] {
        std::filesystem::resize_file(source / "file", 10);
        return EOPNOTSUPP;
    });
    EXPECT_EQ(refusal(), (source / "file").string() + changed);
}

TEST_F(CopyTreeChangesTest, aFileThatGrowsIsAnError) {
    const AtCopyCall grow("ioctl", 1, [this] {
        std::filesystem::resize_file(source / "file", 20'000);
        return EOPNOTSUPP;
    });
    EXPECT_EQ(refusal(), (source / "file").string() + changed);
}

TEST_F(CopyTreeChangesTest, aLinkThatBecomesAFileIsAnError) {
    const AtCopyCall replace("readlinkat", 1, [this] {
        std::filesystem::remove(source / "link");
        writeFile(source / "link", "x");
        return 0;
    });
    EXPECT_EQ(refusal(), (source / "link").string() + changed);
}

TEST_F(CopyTreeChangesTest, aLinkThatIsPlantedInTheCopyIsNotWrittenThrough) {
    afterLook(2, "fstat",
              [this] { std::filesystem::create_symlink(directory / "outside", destination / "file"); });
    EXPECT_EQ(refusal(), (destination / "file").string() + ": File exists");
    EXPECT_EQ(Testing::readFile(directory / "outside"), "outside");
}

TEST_F(CopyTreeChangesTest, dataGoesThroughMemoryWhereTheKernelDoesNotCopy) {
    const TreeSnapshot before(source);
    Testing::onCopyCall = [](const std::string& name) {
        return name == "ioctl" ? EOPNOTSUPP : name == "copy_file_range" ? EXDEV : 0;
    };
    EXPECT_EQ(refusal(), "");
    Testing::onCopyCall = nullptr;
    EXPECT_EQ(before.differences(TreeSnapshot(destination)), "");
}

TEST_F(CopyTreeChangesTest, interruptedCallsAreMadeAgain) {
    for (const char* const name : {"openat", "ioctl", "copy_file_range"}) {
        SCOPED_TRACE(name);
        const AtCopyCall interrupt(name, 1, [] { return EINTR; });
        // The listing of a directory is no part of this.
        EXPECT_EQ(refusal(), "");
        EXPECT_GT(interrupt.seen(), 1);
        std::filesystem::remove_all(destination);
    }
}

TEST_F(CopyTreeChangesTest, everyCallThatFailsIsAnErrorWithItsReason) {
    for (const char* const name :
         {"copy_file_range", "fchmod", "flistxattr", "fstat", "fstatat", "futimens", "ioctl", "linkat",
          "mkdirat", "openat", "readlinkat", "symlinkat", "utimensat"}) {
        SCOPED_TRACE(name);
        int number = 0;
        for (bool reached = true; reached;) {
            const AtCopyCall failing(name, ++number, [] { return EIO; });
            const std::string text = refusal();
            reached = failing.seen() >= number;
            EXPECT_EQ(reached, text.ends_with(": Input/output error")) << number << ' ' << text;
            std::filesystem::remove_all(destination);
        }
        EXPECT_GT(number, 1) << "the call was never made";
    }
}

TEST_F(CopyTreeChangesTest, attributesThatTheDestinationDoesNotHaveAreLeftOutWithOneLine) {
    for (const char* const file : {"file", "folder"}) {
        if (::setxattr((source / file).c_str(), "user.a", "1", 1, 0) != 0) {
            ASSERT_EQ(errno, EOPNOTSUPP);
            GTEST_SKIP() << "this file system has no extended attributes";
        }
    }
    Testing::onCopyCall = [](const std::string& name) { return name == "fsetxattr" ? EOPNOTSUPP : 0; };
    EXPECT_EQ(refusal(), "");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(
        lines.front(),
        testing::EndsWith(": attribute user.a is left out, and others may be: Operation not supported"));
}

} // namespace

} // namespace InstallerCore
