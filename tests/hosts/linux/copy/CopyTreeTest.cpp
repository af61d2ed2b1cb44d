#include "hosts/linux/copy/CopyTree.h"

#include "hosts/linux/copy/CopyError.h"
#include "hosts/posix/RemoveTree.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"
#include "tests/support/TreeSnapshot.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace InstallerCore {

namespace {

using Testing::TemporaryDirectory;
using Testing::TreeSnapshot;
using Testing::writeFile;

void unexpectedLine(const std::string& line) {
    ADD_FAILURE() << line;
}

class CopyTreeTest : public testing::Test {
protected:
    void copy() const { copyTree(source, destination, unexpectedLine); }

    void expectSameTrees() const {
        EXPECT_EQ(TreeSnapshot(source).differences(TreeSnapshot(destination)), "");
    }

    void expectRefusal(const std::string& text) const {
        try {
            copy();
            ADD_FAILURE() << "no error instead of " << text;
        } catch (const CopyError& error) {
            EXPECT_EQ(error.what(), text);
        }
    }

    TemporaryDirectory directory;
    std::filesystem::path source = directory / "source";
    std::filesystem::path destination = directory / "copy";
};

TEST_F(CopyTreeTest, copiesAnEmptyDirectory) {
    std::filesystem::create_directory(source);
    copy();
    expectSameTrees();
}

TEST_F(CopyTreeTest, copiesAFile) {
    writeFile(source, "content");
    copy();
    expectSameTrees();
}

TEST_F(CopyTreeTest, copiesALinkItselfAndNotWhatItLeadsTo) {
    std::filesystem::create_symlink("nowhere", source);
    copy();
    expectSameTrees();
    EXPECT_EQ(std::filesystem::read_symlink(destination), "nowhere");
}

TEST_F(CopyTreeTest, takesATrailingSlashForNothing) {
    std::filesystem::create_directory(directory / "real");
    std::filesystem::create_symlink(directory / "real", source);
    copyTree(source / "", destination / "", unexpectedLine);
    EXPECT_TRUE(std::filesystem::is_symlink(destination));
}

TEST_F(CopyTreeTest, copiesOddNames) {
    std::filesystem::create_directory(source);
    for (const char* const name : {" ", "-", "--", "*", "\\", "\n", "\x01", "\xff\xfe", "\"", "'", "...",
                                   "\xc3\xa4", "a\xcc\x88", "$(x)"}) {
        writeFile(source / name, name);
    }
    writeFile(source / std::string(255, 'n'), "long");
    copy();
    expectSameTrees();
}

TEST_F(CopyTreeTest, keepsHardLinksWithinTheTree) {
    std::filesystem::create_directories(source / "below");
    writeFile(source / "one", "shared");
    std::filesystem::create_hard_link(source / "one", source / "two");
    std::filesystem::create_hard_link(source / "one", source / "below" / "three");
    std::filesystem::create_hard_link(source / "one", directory / "outside");
    copy();
    expectSameTrees();
    EXPECT_EQ(std::filesystem::hard_link_count(destination / "one"), 3U);
}

TEST_F(CopyTreeTest, copiesManyFilesOnSeveralThreads) {
    for (int folder = 0; folder < 50; ++folder) {
        const auto path = source / std::to_string(folder);
        std::filesystem::create_directories(path);
        for (int file = 0; file < 100; ++file) {
            writeFile(path / std::to_string(file), std::string(static_cast<std::size_t>(file), 'x'));
        }
    }
    copy();
    expectSameTrees();
}

TEST_F(CopyTreeTest, keepsHolesInASparseFile) {
    constexpr off_t size = 6L * 1024 * 1024 * 1024;
    writeFile(source, "begin");
    {
        std::ofstream middle(source, std::ios::in | std::ios::out | std::ios::binary);
        middle.seekp(size / 2) << "middle";
    }
    std::filesystem::resize_file(source, size);
    copy();
    struct stat status{};
    ASSERT_EQ(::stat(destination.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, size);
    EXPECT_LT(status.st_blocks, 1024);
    std::ifstream copied(destination, std::ios::binary);
    std::string text(6, '\0');
    EXPECT_TRUE(copied.seekg(size / 2).read(text.data(), 6));
    EXPECT_EQ(text, "middle");
}

TEST_F(CopyTreeTest, copiesATreeDeeperThanPathsAndDescriptorsReach) {
    constexpr int depth = 3000;
    Testing::runInChild([&] {
        const rlimit limit{.rlim_cur = 256, .rlim_max = 256};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        std::filesystem::create_directory(source);
        int end = ::open(source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int i = 0; i < depth; ++i) {
            ASSERT_EQ(::mkdirat(end, "level", 0755), 0);
            const int next = ::openat(end, "level", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(end);
            end = next;
        }
        ::close(end);
        copy();
        end = ::open(destination.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        int levels = 0;
        for (int next = 0; (next = ::openat(end, "level", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) >= 0;
             ++levels) {
            ::close(end);
            end = next;
        }
        ::close(end);
        EXPECT_EQ(levels, depth);
    });
    EXPECT_EQ(removeTree(AT_FDCWD, source), 0);
    EXPECT_EQ(removeTree(AT_FDCWD, destination), 0);
}

TEST_F(CopyTreeTest, refusesADestinationThatExistsWhateverItIs) {
    writeFile(source, "content");
    for (const Testing::TrapKind kind : Testing::allTraps) {
        SCOPED_TRACE(Testing::nameOf(kind));
        destination = directory / Testing::nameOf(kind);
        const Testing::Trap trap(destination, kind);
        expectRefusal(destination.string() + ": File exists");
        trap.expectUntouched();
    }
}

TEST_F(CopyTreeTest, refusesADirectoryForADestinationThatExists) {
    std::filesystem::create_directory(source);
    std::filesystem::create_directory(destination);
    expectRefusal(destination.string() + ": File exists");
}

TEST_F(CopyTreeTest, needsTheParentOfTheDestination) {
    writeFile(source, "content");
    destination = directory / "missing" / "copy";
    expectRefusal((directory / "missing").string() + ": No such file or directory");
}

TEST_F(CopyTreeTest, followsNoLinkInTheParentsPlace) {
    writeFile(source, "content");
    std::filesystem::create_directory(directory / "elsewhere");
    std::filesystem::create_symlink("elsewhere", directory / "parent");
    destination = directory / "parent" / "copy";
    expectRefusal((directory / "parent").string() + ": Not a directory");
    EXPECT_TRUE(std::filesystem::is_empty(directory / "elsewhere"));
}

TEST_F(CopyTreeTest, needsASource) {
    expectRefusal(source.string() + ": No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(destination));
}

TEST_F(CopyTreeTest, refusesSpecialFiles) {
    std::filesystem::create_directory(source);
    ASSERT_EQ(::mkfifo((source / "pipe").c_str(), 0600), 0);
    expectRefusal((source / "pipe").string() + ": neither a file, a directory nor a link");
    EXPECT_TRUE(std::filesystem::is_empty(destination)) << "what was copied by then stays";
}

TEST_F(CopyTreeTest, refusesToCopyATreeIntoItself) {
    std::filesystem::create_directories(source / "below");
    destination = source / "below" / "copy";
    expectRefusal(source.string() + ": cannot be copied into itself");
}

TEST_F(CopyTreeTest, saysControlCharactersOfAPathAsQuestionMarks) {
    source = directory / "a\nb";
    expectRefusal((directory / "a?b").string() + ": No such file or directory");
}

TEST_F(CopyTreeTest, saysThatTheVolumeIsFull) {
    std::filesystem::create_directory(source);
    writeFile(source / "large", std::string(512 * 1024, 'x'));
    std::filesystem::create_directory(directory / "volume");
    destination = directory / "volume" / "copy";
    Testing::runInChild([&] {
        if (!Testing::mountVolume(directory / "volume", "size=128k")) {
            GTEST_SKIP() << "mounting is not permitted here";
        }
        expectRefusal((destination / "large").string() + ": No space left on device");
    });
}

TEST_F(CopyTreeTest, saysThatTheVolumeIsReadOnly) {
    writeFile(source, "content");
    std::filesystem::create_directory(directory / "volume");
    destination = directory / "volume" / "copy";
    Testing::runInChild([&] {
        if (!Testing::mountVolume(directory / "volume", "ro")) {
            GTEST_SKIP() << "mounting is not permitted here";
        }
        EXPECT_THROW(copy(), CopyError);
    });
}

TEST_F(CopyTreeTest, saysThatTheSourceMayNotBeRead) {
    std::filesystem::create_directory(source);
    writeFile(source / "secret", "content");
    std::filesystem::permissions(source / "secret", std::filesystem::perms::none);
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    Testing::runInChild([&] {
        Testing::dropPrivileges();
        expectRefusal((source / "secret").string() + ": Permission denied");
    });
}

} // namespace

} // namespace InstallerCore
