#include "hosts/posix/RemoveTree.h"

#include "hosts/posix/Descriptor.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <cerrno>
#include <functional>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::readFile;
using Testing::runInChild;
using Testing::Trap;
using Testing::writeFile;

class RemoveTreeTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name) const { return directory_ / name; }

    // 0, or errno.
    [[nodiscard]] int remove(const std::string& name = "tree") const {
        return removeTree(descriptor_.get(), name) == 0 ? 0 : errno;
    }

    void expectRemoved(const std::string& name = "tree") const {
        EXPECT_EQ(remove(name), 0);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(place(name))));
    }

    // Directories in one another, each with a file; made from the top by descriptors, as no path is so long.
    void makeDeepTree(int levels, const std::string& name = "level-1") const {
        ASSERT_EQ(::mkdirat(descriptor_.get(), "tree", 0700), 0);
        Descriptor at(::openat(descriptor_.get(), "tree", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        for (int level = 0; level < levels; ++level) {
            ASSERT_EQ(::mkdirat(at.get(), name.c_str(), 0700), 0);
            at = Descriptor(::openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            const Descriptor file(::openat(at.get(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
            ASSERT_GE(file.get(), 0);
        }
    }

    Testing::TemporaryDirectory directory_;
    Descriptor descriptor_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(RemoveTreeTest, EveryKindOfEntryGoesItself) {
    for (const Testing::TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place("tree"), kind);
        expectRemoved();
        trap.expectOutsideUntouched();
    }
    writeFile(place("tree"), "text");
    expectRemoved();
}

TEST_F(RemoveTreeTest, LinksInTheTreeAreNotFollowed) {
    for (const Testing::TrapKind kind : allTraps) {
        for (const char* where : {"tree", "tree/a", "tree/a/b", "tree/a/b/c"}) {
            SCOPED_TRACE(nameOf(kind) + " in " + where);
            std::filesystem::create_directories(place(where));
            const Trap trap(place(where) / "trap", kind);
            // What the trap leads to lies beside it and goes with the tree; a second name tells its story.
            const Trap outside(directory_ / "outside", kind);
            std::filesystem::create_symlink(directory_ / "outside", place(where) / "way out");
            expectRemoved();
            outside.expectUntouched();
            std::filesystem::remove(directory_ / "outside");
        }
    }
}

TEST_F(RemoveTreeTest, MissingEntryIsTold) {
    EXPECT_EQ(remove("missing"), ENOENT);
    EXPECT_EQ(remove(""), ENOENT);
    EXPECT_EQ(remove(std::string(256, 'n')), ENAMETOOLONG);
}

TEST_F(RemoveTreeTest, NeighboursStay) {
    std::filesystem::create_directories(place("tree/a/b/c"));
    std::filesystem::create_directories(place("tree 2/a"));
    writeFile(place("level-1"), "text");
    expectRemoved();
    EXPECT_TRUE(std::filesystem::exists(place("tree 2/a")));
    EXPECT_EQ(readFile(place("level-1")), "text");
}

TEST_F(RemoveTreeTest, OddNamesGo) {
    for (const std::string& name :
         {std::string(" "), std::string("-rf"), std::string("..."), std::string("a\nb"),
          std::string("\xFF\xFE"), std::string("%s"), std::string(255, 'n')}) {
        std::filesystem::create_directories(place("tree") / "inner" / name / name);
        writeFile(place("tree") / "inner" / name / name / name, name);
    }
    expectRemoved();
}

TEST_F(RemoveTreeTest, NamesThatTheRemovalItselfGivesMayExist) {
    for (const char* name : {"level-1", "level-1/level-1/level-1/level-1", "level-2/level-1/level-3/level-2",
                             "level-3/level-3/level-2/level-1", "x/y/level-4/level-4"}) {
        std::filesystem::create_directories(place("tree") / name);
    }
    for (const char* name : {"level-4", "level-5", "x/level-6", "x/y/level-1"}) {
        writeFile(place("tree") / name, "file");
    }
    expectRemoved();
}

void* removeWithSmallStack(void* test) {
    static_cast<const std::function<void()>*>(test)->operator()();
    return nullptr;
}

TEST_F(RemoveTreeTest, DepthCostsNeitherDescriptorsNorStack) {
    makeDeepTree(2'000);
    runInChild([this] {
        const rlimit few{.rlim_cur = 12, .rlim_max = 12};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
        const std::function<void()> removal = [this] { EXPECT_EQ(remove(), 0); };
        pthread_attr_t small;
        ::pthread_attr_init(&small);
        constexpr std::size_t stack = 131'072;
        ASSERT_EQ(::pthread_attr_setstacksize(&small, stack), 0);
        pthread_t thread{};
        // NOLINTNEXTLINE: the argument is only read
        ASSERT_EQ(::pthread_create(&thread, &small, removeWithSmallStack,
                                   const_cast<void*>(static_cast<const void*>(&removal))),
                  0);
        ::pthread_join(thread, nullptr);
        ::pthread_attr_destroy(&small);
    });
    EXPECT_FALSE(std::filesystem::exists(place("tree")));
}

TEST_F(RemoveTreeTest, WideTreesGo) {
    ASSERT_TRUE(std::filesystem::create_directory(place("tree")));
    ASSERT_TRUE(std::filesystem::create_directory(place("tree/inner")));
    const Descriptor inner(::open(place("tree/inner").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int number = 0; number < 4'000; ++number) {
        const Descriptor file(
            ::openat(inner.get(), std::to_string(number).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        ASSERT_GE(file.get(), 0);
    }
    for (int number = 0; number < 300; ++number) {
        const std::string name = "directory " + std::to_string(number);
        ASSERT_EQ(::mkdirat(inner.get(), name.c_str(), 0700), 0);
        ASSERT_EQ(::symlinkat("nowhere", inner.get(), (name + "/link").c_str()), 0);
    }
    expectRemoved();
}

TEST_F(RemoveTreeTest, PermissionsOfTheTreeAreNotInTheWay) {
    std::filesystem::permissions(directory_.path(), std::filesystem::perms{0777});
    for (const mode_t mode : {0000U, 0100U, 0200U, 0400U, 0500U, 0555U, 0600U}) {
        runInChild([&] {
            Testing::dropPrivileges();
            for (const char* path : {"tree/a/b/c", "tree/d"}) {
                std::filesystem::create_directories(place(path));
            }
            for (const char* path : {"tree/a/b/c/file", "tree/a/b/file", "tree/a/file", "tree/file"}) {
                writeFile(place(path), "text");
                std::filesystem::permissions(place(path), std::filesystem::perms{0});
            }
            for (const char* path : {"tree/a/b/c", "tree/a/b", "tree/a", "tree/d", "tree"}) {
                std::filesystem::permissions(place(path), static_cast<std::filesystem::perms>(mode));
            }
            EXPECT_EQ(remove(), 0) << std::oct << mode;
        });
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(RemoveTreeTest, ForbiddenParentKeepsTheTreeWhole) {
    std::filesystem::create_directories(place("tree/inner"));
    std::filesystem::permissions(directory_.path(), std::filesystem::perms{0555});
    std::filesystem::permissions(place("tree"), std::filesystem::perms{0777});
    runInChild([this] {
        Testing::dropPrivileges();
        EXPECT_EQ(remove(), EACCES);
    });
    std::filesystem::permissions(directory_.path(), std::filesystem::perms{0755});
    EXPECT_TRUE(std::filesystem::exists(place("tree/inner")));
}

// A directory of somebody else that may not be opened up: what could go is gone.
TEST_F(RemoveTreeTest, PartOfAnotherUserStays) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser has other users' directories";
    }
    constexpr uid_t nobody = 65'534;
    std::filesystem::create_directories(place("tree/theirs"));
    writeFile(place("tree/theirs/file"), "text");
    ASSERT_EQ(::chown(place("tree").c_str(), nobody, nobody), 0);
    ASSERT_EQ(::chown(directory_.path().c_str(), nobody, nobody), 0);
    runInChild([this] {
        Testing::dropPrivileges();
        EXPECT_EQ(remove(), EACCES);
    });
    EXPECT_EQ(readFile(place("tree/theirs/file")), "text");
}

} // namespace

} // namespace InstallerCore
