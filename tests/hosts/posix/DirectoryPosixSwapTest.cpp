#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/FilesPosix.h"
#include "tests/hosts/posix/SystemCalls.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>

#include <string>

// A trap takes the place of what was looked at, just before the next system call.
namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::expectPlatformError;
using Testing::readFile;
using Testing::StepIn;
using Testing::TemporaryDirectory;
using Testing::Trap;
using Testing::TrapKind;
using testing::UnorderedElementsAre;
using Testing::writeFile;

// A folder with a regular file "entry", ready to be swapped for a trap and then called "aside".
struct Scene {
    Scene(TrapKind kind, const std::string& moment)
        : trap(folder / "trap", kind), stepIn(moment, [this] { swap(); }) {
        writeFile(folder / "entry", "file");
    }

    void swap() const {
        std::filesystem::rename(folder / "entry", folder / "aside");
        std::filesystem::rename(folder / "trap", folder / "entry");
    }

    [[nodiscard]] std::unique_ptr<Directory> open() const {
        return FilesPosix(folder.path()).openDirectory(folder.path());
    }

    TemporaryDirectory folder;
    std::unique_ptr<Directory> directory = open();
    Trap trap;
    StepIn stepIn;
};

TEST(DirectoryPosixSwapTest, TrapSwappedInBeforeOrAfterTheLookIsNotOpened) {
    for (const TrapKind kind : allTraps) {
        for (const FileAccess access : {FileAccess::read, FileAccess::update, FileAccess::append}) {
            for (const char* moment : {"fstatat", "openat"}) {
                SCOPED_TRACE(nameOf(kind) + " before " + moment);
                const Scene scene(kind, moment);
                expectPlatformError(FileErrorCode::notRegularFile,
                                    [&] { static_cast<void>(scene.directory->open("entry", access)); });
                EXPECT_TRUE(scene.stepIn.done());
                scene.trap.expectOutsideUntouched();
                EXPECT_EQ(readFile(scene.folder / "aside"), "file");
            }
        }
    }
}

TEST(DirectoryPosixSwapTest, FileThatIsOpenStaysTheOneThatWasMeant) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Scene scene(kind, "fstat");
        scene.directory->open("entry", FileAccess::append)->write(asBytes(" and line"));
        EXPECT_TRUE(scene.stepIn.done());
        scene.trap.expectOutsideUntouched();
        EXPECT_EQ(readFile(scene.folder / "aside"), "file and line");
    }
}

TEST(DirectoryPosixSwapTest, TrapSwappedInIsNotLocked) {
    for (const TrapKind kind : allTraps) {
        for (const char* moment : {"fstatat", "openat"}) {
            SCOPED_TRACE(nameOf(kind) + " before " + moment);
            const Scene scene(kind, moment);
            expectPlatformError(FileErrorCode::notRegularFile,
                                [&] { static_cast<void>(scene.directory->lock("entry")); });
            EXPECT_TRUE(scene.stepIn.done());
            scene.trap.expectOutsideUntouched();
        }
    }
}

TEST(DirectoryPosixSwapTest, TrapThatComesBeforeTheCreationStaysAsItIs) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const TemporaryDirectory folder;
        const auto directory = FilesPosix(folder.path()).openDirectory(folder.path());
        std::optional<Trap> trap;
        const StepIn stepIn("openat", [&] { trap.emplace(folder / "entry", kind); });
        directory->createIfMissing("entry");
        ASSERT_TRUE(trap);
        trap->expectUntouched();
    }
}

TEST(DirectoryPosixSwapTest, TrapSwappedInBeforeTheRenameIsReplacedItself) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Scene scene(kind, "renameat");
        if (kind == TrapKind::directory) {
            expectPlatformError(FileErrorCode::writeUnknown,
                                [&] { scene.directory->replace("entry", asBytes("new")); });
        } else {
            scene.directory->replace("entry", asBytes("new"));
            EXPECT_EQ(readFile(scene.folder / "entry"), "new");
        }
        EXPECT_TRUE(scene.stepIn.done());
        scene.trap.expectOutsideUntouched();
        EXPECT_THAT(scene.directory->names(), UnorderedElementsAre("entry", "aside"));
    }
}

TEST(DirectoryPosixSwapTest, TrapSwappedInBeforeTheRemovalGoesItself) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Scene scene(kind, "unlinkat");
        if (kind == TrapKind::directory) {
            expectPlatformError(FileErrorCode::writeUnknown, [&] { scene.directory->remove("entry"); });
        } else {
            scene.directory->remove("entry");
            EXPECT_THAT(scene.directory->names(), ElementsAre("aside"));
        }
        EXPECT_TRUE(scene.stepIn.done());
        scene.trap.expectOutsideUntouched();
    }
}

TEST(DirectoryPosixSwapTest, TrapSwappedInIsNotOpenedForReadingEither) {
    for (const TrapKind kind : {TrapKind::fifo, TrapKind::socket, TrapKind::directory}) {
        for (const char* moment : {"fstatat", "openat"}) {
            SCOPED_TRACE(nameOf(kind) + " before " + moment);
            const Scene scene(kind, moment);
            FilesPosix files(scene.folder.path());
            expectPlatformError(FileErrorCode::notRegularFile,
                                [&] { static_cast<void>(files.openForReading(scene.folder / "entry")); });
            EXPECT_TRUE(scene.stepIn.done());
        }
    }
}

TEST(DirectoryPosixSwapTest, LinkSwappedInForADirectoryJustMadeIsNotFollowed) {
    const TemporaryDirectory folder;
    std::optional<Trap> trap;
    const StepIn stepIn("fchmodat", [&] {
        std::filesystem::remove(folder / "made");
        trap.emplace(folder / "made", TrapKind::linkToDirectory);
    });
    EXPECT_THROW(FilesPosix(folder.path()).createDirectory(folder / "made"), PlatformError);
    ASSERT_TRUE(trap);
    trap->expectUntouched();
}

TEST(DirectoryPosixSwapTest, LockIsOnTheFileThatWasOpened) {
    const Scene scene(TrapKind::link, "flock");
    const auto lock = scene.directory->lock("entry");
    EXPECT_NE(lock, nullptr);
    EXPECT_TRUE(scene.stepIn.done());
    EXPECT_EQ(scene.directory->lock("aside"), nullptr);
    scene.trap.expectOutsideUntouched();
}

} // namespace

} // namespace InstallerCore
