#include "InstallerCore/install/TreeSize.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <map>
#include <string>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::runInChild;
using Testing::TestPlatform;
using Testing::writeFile;

class TreeSizeTest : public testing::Test {
protected:
    TreeSizeTest() { std::filesystem::create_directory(root_); }

    std::int64_t size() { return sizeOfTree(test_.folders.open(root_)); }

    TestPlatform test_;
    std::filesystem::path root_ = test_.home / "tree";
};

TEST_F(TreeSizeTest, EmptyFolderHasNoSize) {
    EXPECT_EQ(size(), 0);
}

TEST_F(TreeSizeTest, RegularFilesOfAllLevelsCount) {
    std::filesystem::create_directories(root_ / "a/b/.c/Nested.app/Contents");
    std::filesystem::create_directories(root_ / "empty");
    writeFile(root_ / "one", "1");
    writeFile(root_ / ".hidden", "22");
    writeFile(root_ / "a/four", "4444");
    writeFile(root_ / "a/b/.c/eight", "88888888");
    writeFile(root_ / "a/b/.c/Nested.app/Contents/sixteen", std::string(16, '6'));
    writeFile(root_ / "a/none", "");
    EXPECT_EQ(size(), 31);
}

TEST_F(TreeSizeTest, LinksCountNothingAndAreNotFollowed) {
    writeFile(test_.home / "large", std::string(1000, 'x'));
    std::filesystem::create_directory(test_.home / "folder");
    writeFile(test_.home / "folder/large", std::string(1000, 'x'));
    writeFile(root_ / "file", "12345");
    std::filesystem::create_symlink(test_.home / "large", root_ / "to file");
    std::filesystem::create_symlink(test_.home / "folder", root_ / "to folder");
    std::filesystem::create_symlink("file", root_ / "to own");
    std::filesystem::create_symlink(".", root_ / "circle");
    std::filesystem::create_symlink("nowhere", root_ / "dangling");
    ASSERT_EQ(::mkfifo((root_ / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(size(), 5);
}

TEST_F(TreeSizeTest, SizesAreThoseOfTheContentNotOfTheBlocks) {
    writeFile(root_ / "sparse", "");
    constexpr std::uintmax_t large = 5'000'000'000;
    std::filesystem::resize_file(root_ / "sparse", large);
    EXPECT_EQ(size(), 5'000'000'000);
}

TEST_F(TreeSizeTest, OddNamesAndThousandsOfFilesCount) {
    for (const char* name :
         {"a b", "\"'$(x)`", "line\nfeed", "\xFF\xFE", "-rf", "...", "K\xC3\xA4vio", "\\"}) {
        writeFile(root_ / name, "x");
    }
    for (int index = 0; index < 2000; ++index) {
        writeFile(root_ / std::to_string(index), "x");
    }
    EXPECT_EQ(size(), 2008);
}

TEST_F(TreeSizeTest, FirstEntryThatCannotBeReadEndsIt) {
    std::filesystem::create_directory(root_ / "folder");
    writeFile(root_ / "folder/file", "x");
    EXPECT_EQ(size(), 1);
    const auto calls = static_cast<int>(test_.files.calls().size());
    EXPECT_EQ(calls, 6); // open; names, attributes; openFolder, names, attributes
    for (int call = 1; call <= calls; ++call) {
        TestPlatform faulty;
        faulty.files.failAtAny(call, FileErrorCode::readUnknown);
        expectPlatformError(FileErrorCode::readUnknown,
                            [&] { static_cast<void>(sizeOfTree(faulty.folders.open(root_))); });
        EXPECT_EQ(std::ssize(faulty.files.calls()), call);
    }
}

TEST_F(TreeSizeTest, FolderWithoutPermissionIsAnError) {
    std::filesystem::create_directory(root_ / "closed");
    std::filesystem::permissions(root_ / "closed", std::filesystem::perms::none);
    std::filesystem::permissions(test_.home.path(), std::filesystem::perms{0755});
    runInChild([this] {
        Testing::dropPrivileges();
        expectPlatformError(FileErrorCode::readNoPermission, [this] { static_cast<void>(size()); });
    });
}

// Deeper than any stack would bear; with descriptors enough it is measured, else it is an error.
TEST_F(TreeSizeTest, DepthOfTheTreeIsBoundByDescriptorsOnly) {
    constexpr int levels = 2000;
    runInChild([this] {
        int level = ::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int made = 0; made < levels; ++made) {
            ASSERT_EQ(::mkdirat(level, "d", 0700), 0);
            const int next = ::openat(level, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(level);
            level = next;
        }
        const int file = ::openat(level, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(::write(file, "1234", 4), 4);
        ::close(file);
        ::close(level);

        rlimit limit{};
        ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        const rlimit few{.rlim_cur = 100, .rlim_max = limit.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
        expectPlatformError(FileErrorCode::readUnknown, [this] { static_cast<void>(size()); });
        if (limit.rlim_max >= levels + 100) {
            const rlimit enough{.rlim_cur = levels + 100, .rlim_max = limit.rlim_max};
            ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &enough), 0);
            EXPECT_EQ(size(), 4);
        }
        ASSERT_TRUE(test_.realFolders.open(test_.home.path()) != nullptr);
        test_.realFolders.open(test_.home.path())->removeTree("tree");
    });
}

// Files larger than any disk, for the sum.
class HugeFolder final : public Folder, private Directory {
public:
    explicit HugeFolder(std::map<std::string, std::int64_t> sizes) : sizes_(std::move(sizes)) {}

    [[nodiscard]] Directory& files() override { return *this; }

    [[nodiscard]] std::vector<std::string> names() const override {
        std::vector<std::string> names;
        for (const auto& [name, size] : sizes_) {
            names.push_back(name);
        }
        return names;
    }

    [[nodiscard]] FileAttributes attributes(const std::string& name) const override {
        return {.type = name == "untold" ? std::nullopt : std::optional(FileType::regular),
                .size = sizes_.at(name),
                .modified = {}};
    }

private:
    [[nodiscard]] bool exists(const std::string&) const override { return false; }

    void createFolder(const std::string&) override {}

    [[nodiscard]] std::unique_ptr<Folder> openFolder(const std::string&) const override { return nullptr; }

    void move(const std::string&, Folder&, const std::string&) override {}

    void removeTree(const std::string&) override {}

    void createIfMissing(const std::string&) noexcept override {}

    [[nodiscard]] std::unique_ptr<FileHandle> open(const std::string&, FileAccess) override {
        return nullptr;
    }

    void replace(const std::string&, ByteView) override {}

    void remove(const std::string&) override {}

    [[nodiscard]] std::unique_ptr<FileLock> lock(const std::string&) override { return nullptr; }

    std::map<std::string, std::int64_t> sizes_;
};

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

std::int64_t sizeOfHuge(std::map<std::string, std::int64_t> sizes) {
    return sizeOfTree(std::make_unique<HugeFolder>(std::move(sizes)));
}

TEST(TreeSizeSumTest, EntryOfNoToldTypeCountsNothing) {
    EXPECT_EQ(sizeOfHuge({{"a", 1}, {"untold", 100}}), 1);
}

TEST(TreeSizeSumTest, SumThatOverflowsIsADefect) {
    EXPECT_EQ(sizeOfHuge({{"a", largest - 1}, {"b", 1}}), largest);
    EXPECT_EXIT(static_cast<void>(sizeOfHuge({{"a", largest}, {"b", 1}})), testing::KilledBySignal(SIGABRT),
                "");
}

} // namespace

} // namespace InstallerCore
