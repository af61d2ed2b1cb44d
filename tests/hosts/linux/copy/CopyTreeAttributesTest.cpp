#include "hosts/linux/copy/CopyAttributes.h"
#include "hosts/linux/copy/CopyTree.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeSnapshot.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

namespace InstallerCore {

namespace {

using Testing::TemporaryDirectory;
using Testing::TreeSnapshot;
using Testing::writeFile;

void setTimes(const std::filesystem::path& path, time_t seconds) {
    const std::array<timespec, 2> times{timespec{.tv_sec = seconds + 1, .tv_nsec = 123'456'789},
                                        timespec{.tv_sec = seconds, .tv_nsec = 987'654'321}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

bool setAttribute(const std::filesystem::path& path, const char* name, const std::string& value) {
    return ::lsetxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

// False where the file system has none.
bool setAccessList(const std::filesystem::path& path, acl_type_t type, const char* text) {
    const acl_t list = ::acl_from_text(text);
    const bool done = ::acl_set_file(path.c_str(), type, list) == 0;
    ::acl_free(list);
    return done;
}

class CopyTreeAttributesTest : public testing::Test {
protected:
    void copyAndCompare() const {
        const TreeSnapshot before(source);
        copyTree(source, destination, [](const std::string& line) { ADD_FAILURE() << line; });
        EXPECT_EQ(before.differences(TreeSnapshot(destination)), "");
    }

    TemporaryDirectory directory;
    std::filesystem::path source = directory / "source";
    std::filesystem::path destination = directory / "copy";
};

TEST_F(CopyTreeAttributesTest, modesAreKept) {
    std::filesystem::create_directory(source);
    for (const mode_t mode : {0U, 0400U, 0444U, 0600U, 0644U, 0666U, 0755U, 0777U, 04755U, 02755U}) {
        const auto file = source / ("file" + std::to_string(mode));
        writeFile(file, "content");
        // A file that its owner may not read is for root alone to copy.
        ASSERT_EQ(::chmod(file.c_str(), ::geteuid() == 0 ? mode : mode | 0400U), 0);
    }
    for (const mode_t mode : {0500U, 0700U, 0755U, 01777U, 02755U}) {
        const auto folder = source / ("folder" + std::to_string(mode));
        std::filesystem::create_directory(folder);
        writeFile(folder / "file", "content");
        ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
    }
    copyAndCompare();
    ::chmod((source / "folder320").c_str(), 0700);
    ::chmod((destination / "folder320").c_str(), 0700);
}

TEST_F(CopyTreeAttributesTest, timesAreKeptOfDirectoriesToo) {
    std::filesystem::create_directories(source / "below");
    writeFile(source / "below" / "file", "content");
    std::filesystem::create_symlink("file", source / "below" / "link");
    setTimes(source / "below" / "file", 1000);
    setTimes(source / "below" / "link", -2000);
    setTimes(source / "below", 3000);
    setTimes(source, 4'000'000'000);
    copyTree(source, destination, [](const std::string& line) { ADD_FAILURE() << line; });
    struct stat status{};
    ASSERT_EQ(::lstat((destination / "below" / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_atim.tv_sec, 1001);
    EXPECT_EQ(status.st_atim.tv_nsec, 123'456'789);
    // Looking at the content moves the time of access, so this comes second.
    EXPECT_EQ(TreeSnapshot(source).differences(TreeSnapshot(destination)), "");
}

TEST_F(CopyTreeAttributesTest, extendedAttributesAreKept) {
    std::filesystem::create_directory(source);
    writeFile(source / "file", "content");
    if (!setAttribute(source, "user.folder", "a folder's")) {
        ASSERT_EQ(errno, EOPNOTSUPP);
        GTEST_SKIP() << "this file system has no extended attributes";
    }
    ASSERT_TRUE(setAttribute(source / "file", "user.com.apple.ResourceFork", std::string(2000, '\0')));
    ASSERT_TRUE(setAttribute(source / "file", "user.empty", ""));
    ASSERT_EQ(::chmod((source / "file").c_str(), 0444), 0);
    copyAndCompare();
}

TEST_F(CopyTreeAttributesTest, accessControlListsAreKept) {
    std::filesystem::create_directory(source);
    writeFile(source / "file", "content");
    if (!setAccessList(source / "file", ACL_TYPE_ACCESS, "u::r--,g::r--,o::---,u:12345:rw-,m::rw-")) {
        ASSERT_EQ(errno, EOPNOTSUPP);
        GTEST_SKIP() << "this file system has no access control lists";
    }
    ASSERT_TRUE(setAttribute(source / "file", "user.other", "set before the list forbids it") ||
                ::geteuid() != 0);
    writeFile(source / "plain", "made before the default list");
    ASSERT_TRUE(setAccessList(source, ACL_TYPE_DEFAULT, "u::rwx,g::r-x,o::---,u:12345:rwx,m::rwx"));
    copyAndCompare();
}

TEST_F(CopyTreeAttributesTest, theDestinationsParentHandsNoListDown) {
    std::filesystem::create_directory(source);
    writeFile(source / "file", "content");
    std::filesystem::create_directory(directory / "shared");
    if (!setAccessList(directory / "shared", ACL_TYPE_DEFAULT, "u::rwx,g::r-x,o::---,u:12345:rwx,m::rwx")) {
        ASSERT_EQ(errno, EOPNOTSUPP);
        GTEST_SKIP() << "this file system has no access control lists";
    }
    destination = directory / "shared" / "copy";
    copyAndCompare();
}

TEST_F(CopyTreeAttributesTest, setUserIdStaysOnlyWithItsOwner) {
    writeFile(source, "content");
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make a file somebody else's";
    }
    ASSERT_EQ(::chown(source.c_str(), 12345, 12345), 0);
    ASSERT_EQ(::chmod(source.c_str(), 06755), 0);
    copyAndCompare();
    struct stat status{};
    ASSERT_EQ(::stat(destination.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
}

TEST_F(CopyTreeAttributesTest, namesOutsideOfTheNamespacesGoToTheUsers) {
    const std::array<std::array<const char*, 2>, 8> rows{
        {{"user.a", "user.a"},
         {"trusted.a", "trusted.a"},
         {"security.a", "security.a"},
         {"system.a", "system.a"},
         {"com.apple.quarantine", "user.com.apple.quarantine"},
         {"user", "user.user"},
         {"user.", "user.user."},
         {"User.a", "user.User.a"}}};
    for (const auto& [name, expected] : rows) {
        EXPECT_EQ(linuxAttributeName(name), expected);
    }
}

} // namespace

} // namespace InstallerCore
