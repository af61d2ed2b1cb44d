#include "hosts/posix/Descriptor.h"
#include "hosts/posix/RemoveTree.h"
#include "tests/hosts/posix/SystemCalls.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <cerrno>

// Somebody works against the removal, or the volume does.
namespace InstallerCore {

namespace {

using Testing::FailingCall;
using Testing::readFile;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::writeFile;

// A tree that a removal has all its cases with, and something outside that it must not reach.
class Scene {
public:
    Scene() {
        std::filesystem::create_directories(place("tree/a/b/c/d"));
        std::filesystem::create_directories(place("outside/inner/most"));
        for (const char* file :
             {"tree/file", "tree/a/file", "tree/a/b/file", "tree/a/b/c/file", "tree/a/b/c/d/file",
              "outside/file", "outside/inner/file", "outside/inner/most/file"}) {
            writeFile(place(file), file);
        }
    }

    [[nodiscard]] std::filesystem::path place(const std::string& name) const { return folder_ / name; }

    [[nodiscard]] int remove(const std::string& name = "tree") const {
        // Opened as this very process sees it.
        const Descriptor directory(::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return removeTree(directory.get(), name) == 0 ? 0 : errno;
    }

    void expectOutsideUntouched() const {
        for (const char* file : {"outside/file", "outside/inner/file", "outside/inner/most/file"}) {
            EXPECT_EQ(readFile(place(file)), file);
        }
        for (const char* directory : {"outside", "outside/inner", "outside/inner/most"}) {
            EXPECT_EQ(Testing::permissionsOf(place(directory)), 0755U) << directory;
        }
    }

    void openOutside() const {
        for (const char* directory : {"outside", "outside/inner", "outside/inner/most"}) {
            std::filesystem::permissions(place(directory), std::filesystem::perms{0755});
        }
    }

private:
    TemporaryDirectory folder_;
};

// Every directory of the tree becomes a link to the outside before every single call.
TEST(RemoveTreeHostileTest, LinkSwappedInAtAnyMomentLeadsNowhere) {
    for (const char* victim : {"tree", "tree/a", "tree/a/b"}) {
        int moments = 0;
        for (bool reached = true; reached; ++moments) {
            SCOPED_TRACE(std::string(victim) + " before call " + std::to_string(moments));
            const Scene scene;
            scene.openOutside();
            reached = false;
            int call = 0;
            Testing::beforeSystemCall = [&](const std::string&) {
                if (call++ == moments) {
                    reached = true;
                    std::error_code gone; // the removal may have been faster
                    std::filesystem::rename(scene.place(victim), scene.place("aside"), gone);
                    std::filesystem::create_symlink(scene.place("outside"), scene.place(victim), gone);
                }
            };
            static_cast<void>(scene.remove());
            Testing::beforeSystemCall = nullptr;
            scene.expectOutsideUntouched();
        }
        EXPECT_GT(moments, 20);
    }
}

TEST(RemoveTreeHostileTest, EntryThatSomebodyElseRemovesIsNoError) {
    int moments = 0;
    for (bool reached = true; reached; ++moments) {
        SCOPED_TRACE(moments);
        const Scene scene;
        reached = false;
        int call = 0;
        Testing::beforeSystemCall = [&](const std::string& name) {
            if (call++ == moments) {
                reached = true;
                if (name == "unlinkat") {
                    std::error_code gone;
                    std::filesystem::remove(scene.place("tree/file"), gone);
                    std::filesystem::remove(scene.place("tree/a/file"), gone);
                }
            }
        };
        EXPECT_EQ(scene.remove(), 0);
        Testing::beforeSystemCall = nullptr;
        EXPECT_FALSE(std::filesystem::exists(scene.place("tree")));
    }
    EXPECT_GT(moments, 20);
}

TEST(RemoveTreeHostileTest, EntryThatComesInAtAnyMomentGoesOrIsTold) {
    int moments = 0;
    for (bool reached = true; reached; ++moments) {
        SCOPED_TRACE(moments);
        const Scene scene;
        reached = false;
        int call = 0;
        Testing::beforeSystemCall = [&](const std::string&) {
            if (call++ == moments) {
                reached = true;
                std::error_code gone;
                std::filesystem::create_directory_symlink(scene.place("outside"), scene.place("tree/a/new"),
                                                          gone);
                std::filesystem::create_directory_symlink(scene.place("outside"), scene.place("tree/new"),
                                                          gone);
            }
        };
        const int error = scene.remove();
        Testing::beforeSystemCall = nullptr;
        EXPECT_TRUE(error == 0 || error == ENOTEMPTY) << error;
        EXPECT_EQ(std::filesystem::exists(scene.place("tree")), error != 0);
        EXPECT_EQ(scene.remove(), error == 0 ? ENOENT : 0) << "the next removal does the rest";
        scene.expectOutsideUntouched();
    }
}

TEST(RemoveTreeHostileTest, SystemWithoutExclusiveRenamesRemovesAsWell) {
    const Scene scene;
    std::filesystem::create_directories(scene.place("tree/level-1/x/y"));
    const FailingCall unsupported("renameat2", EINVAL);
    EXPECT_EQ(scene.remove(), 0);
    EXPECT_FALSE(std::filesystem::exists(scene.place("tree")));
}

TEST(RemoveTreeHostileTest, FailedMoveIsTold) {
    const Scene scene;
    {
        const FailingCall failing("renameat2", EIO);
        EXPECT_EQ(scene.remove(), EIO);
    }
    EXPECT_TRUE(std::filesystem::exists(scene.place("tree/a/b/c/d")));
    EXPECT_EQ(scene.remove(), 0);
}

TEST(RemoveTreeHostileTest, VolumeInTheTreeStaysWhole) {
    for (const char* where : {"tree", "tree/a", "tree/a/b", "tree/a/b/c", "tree/a/b/c/d"}) {
        SCOPED_TRACE(where);
        const Scene scene;
        runInChild([&] {
            if (!Testing::mountVolume(scene.place(where), "size=64k")) {
                GTEST_SKIP() << "mounting a volume is not permitted here";
            }
            std::filesystem::create_directories(scene.place(where) / "x/y/z");
            writeFile(scene.place(where) / "x/file", "on the volume");
            // The removal may have moved the directory up before it met the volume.
            const Descriptor volume(::open(scene.place(where).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            EXPECT_EQ(scene.remove(), EBUSY);
            EXPECT_EQ(::faccessat(volume.get(), "x/file", F_OK, 0), 0);
            EXPECT_EQ(::faccessat(volume.get(), "x/y/z", F_OK, 0), 0);
        });
    }
}

// The same volume twice has one number, so that cannot tell it.
TEST(RemoveTreeHostileTest, DirectoryMountedInTheTreeStaysWhole) {
    for (const char* where : {"tree/a", "tree/a/b", "tree/a/b/c"}) {
        SCOPED_TRACE(where);
        const Scene scene;
        scene.openOutside();
        const TemporaryDirectory other;
        runInChild([&] {
            if (!Testing::mountVolume(other.path(), "size=64k") ||
                ::mount(scene.place("outside").c_str(), scene.place(where).c_str(), nullptr, MS_BIND,
                        nullptr) != 0) {
                GTEST_SKIP() << "mounting a volume is not permitted here";
            }
            EXPECT_EQ(scene.remove(), EBUSY);
        });
        scene.expectOutsideUntouched();
    }
}

class Immutable {
public:
    explicit Immutable(const std::filesystem::path& path)
        : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), set_(change(true)) {}

    Immutable(const Immutable&) = delete;
    Immutable& operator=(const Immutable&) = delete;

    ~Immutable() { change(false); }

    [[nodiscard]] bool isSet() const { return set_; }

private:
    bool change(bool set) const {
        int flags = 0;
        if (::ioctl(file_.get(), FS_IOC_GETFLAGS, &flags) != 0) {
            return false;
        }
        flags = set ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
        return ::ioctl(file_.get(), FS_IOC_SETFLAGS, &flags) == 0;
    }

    Descriptor file_;
    bool set_;
};

TEST(RemoveTreeHostileTest, WhatIsImmutableStaysAndIsTold) {
    for (const char* kept : {"tree/file", "tree/a/b/file", "tree/a/b", "tree/a/b/c/d", "tree"}) {
        SCOPED_TRACE(kept);
        const Scene scene;
        {
            const Immutable immutable(scene.place(kept));
            if (!immutable.isSet()) {
                GTEST_SKIP() << "nothing can be made immutable here";
            }
            EXPECT_EQ(scene.remove(), EPERM);
            EXPECT_TRUE(std::filesystem::exists(scene.place("tree")));
        }
        EXPECT_EQ(scene.remove(), 0);
    }
}

TEST(RemoveTreeHostileTest, ReadOnlyVolumeIsTold) {
    const TemporaryDirectory folder;
    runInChild([&] {
        if (!Testing::mountVolume(folder.path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        std::filesystem::create_directories(folder / "tree/inner");
        ASSERT_EQ(::mount("none", folder.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        const Descriptor directory(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_EQ(removeTree(directory.get(), "tree"), -1);
        EXPECT_EQ(errno, EROFS);
    });
}

} // namespace

} // namespace InstallerCore
