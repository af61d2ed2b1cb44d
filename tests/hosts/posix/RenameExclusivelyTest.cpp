#include "hosts/posix/RenameExclusively.h"

#include "hosts/posix/Descriptor.h"
#include "tests/hosts/posix/SystemCalls.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::FailingCall;
using Testing::readFile;
using Testing::StepIn;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

// The parameter is the errno of the call that promises not to replace anything; 0 where it works.
class RenameExclusivelyTest : public testing::TestWithParam<int> {
protected:
    RenameExclusivelyTest() { writeFile(folder_ / "entry", "content"); }

    [[nodiscard]] int rename(const char* from = "entry", const char* to = "new") const {
        const FailingCall failing("renameat2", GetParam());
        return renameExclusively(directory_.get(), from, directory_.get(), to);
    }

    void expectError(int errorNumber, const char* from = "entry", const char* to = "new") const {
        errno = 0;
        EXPECT_EQ(rename(from, to), -1);
        EXPECT_EQ(errno, errorNumber);
        EXPECT_EQ(readFile(folder_ / "entry"), "content");
    }

    Testing::TemporaryDirectory folder_;
    Descriptor directory_{::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_P(RenameExclusivelyTest, EntryGetsItsNewName) {
    EXPECT_EQ(rename(), 0);
    EXPECT_EQ(readFile(folder_ / "new"), "content");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "entry"));
}

TEST_P(RenameExclusivelyTest, LinkItselfIsRenamed) {
    std::filesystem::create_symlink("entry", folder_ / "link");
    EXPECT_EQ(rename("link"), 0);
    EXPECT_EQ(std::filesystem::read_symlink(folder_ / "new"), "entry");
    EXPECT_EQ(readFile(folder_ / "entry"), "content");
}

TEST_P(RenameExclusivelyTest, NameThatIsTakenStays) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(folder_ / "new", kind);
        expectError(EEXIST);
        trap.expectUntouched();
        std::filesystem::remove(folder_ / "new");
    }
    writeFile(folder_ / "new", "other");
    expectError(EEXIST);
    EXPECT_EQ(readFile(folder_ / "new"), "other");
    expectError(EEXIST, "entry", "entry");
}

TEST_P(RenameExclusivelyTest, DirectoryDoesNotReplaceAnEmptyOne) {
    std::filesystem::create_directory(folder_ / "from");
    std::filesystem::create_directory(folder_ / "to");
    expectError(EEXIST, "from", "to");
    EXPECT_TRUE(std::filesystem::exists(folder_ / "from"));
}

TEST_P(RenameExclusivelyTest, OtherErrorsAreTold) {
    expectError(ENOENT, "missing");
    expectError(ENAMETOOLONG, "entry", std::string(300, 'n').c_str());
    expectError(ENOENT, "entry", "");
    std::filesystem::create_directory(folder_ / "outer");
    expectError(EINVAL, "outer", "outer/inner");
}

INSTANTIATE_TEST_SUITE_P(Systems, RenameExclusivelyTest, testing::Values(0, EINVAL, ENOTSUP, ENOSYS));

TEST(RenameExclusivelyErrorTest, ErrorThatIsNotWantOfSupportIsFinal) {
    const Testing::TemporaryDirectory folder;
    writeFile(folder / "entry", "content");
    const Descriptor directory(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (const int error : {EIO, EACCES, EROFS, EXDEV, EBUSY}) {
        const FailingCall failing("renameat2", error);
        EXPECT_EQ(renameExclusively(directory.get(), "entry", directory.get(), "new"), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(readFile(folder / "entry"), "content");
    }
}

TEST(RenameExclusivelyErrorTest, WithoutALookNothingIsRenamed) {
    const Testing::TemporaryDirectory folder;
    writeFile(folder / "entry", "content");
    const Descriptor directory(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const FailingCall unsupported("renameat2", EINVAL);
    const FailingCall unseen("fstatat", EIO);
    EXPECT_EQ(renameExclusively(directory.get(), "entry", directory.get(), "new"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(readFile(folder / "entry"), "content");
}

// Where the system makes the promise, there is no moment for a trap.
TEST(RenameExclusivelyErrorTest, TrapThatComesAtTheLastMomentStays) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Testing::TemporaryDirectory folder;
        writeFile(folder / "entry", "content");
        const Descriptor directory(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        std::optional<Trap> trap;
        const StepIn stepIn("renameat2", [&] { trap.emplace(folder / "new", kind); });
        EXPECT_EQ(renameExclusively(directory.get(), "entry", directory.get(), "new"), -1);
        EXPECT_EQ(errno, EEXIST);
        ASSERT_TRUE(trap);
        trap->expectUntouched();
    }
}

} // namespace

} // namespace InstallerCore
