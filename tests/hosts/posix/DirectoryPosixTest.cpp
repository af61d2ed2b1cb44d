#include "hosts/posix/DirectoryPosix.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/posix/FilesPosix.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <chrono>
#include <limits>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using Testing::expectPlatformError;
using Testing::permissionsOf;
using Testing::readFile;
using Testing::runInChild;
using Testing::TemporaryDirectory;
using Testing::Trap;
using Testing::TrapKind;
using Testing::writeFile;

constexpr FileAccess allAccesses[] = {FileAccess::read, FileAccess::update, FileAccess::append};

std::unique_ptr<Directory> opened(const std::filesystem::path& path) {
    return FilesPosix(path).openDirectory(path);
}

class DirectoryPosixTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name = "entry") const {
        return folder_ / name;
    }

    [[nodiscard]] const std::filesystem::path& path() const { return folder_.path(); }

    [[nodiscard]] Directory& directory() { return *directory_; }

private:
    TemporaryDirectory folder_;
    std::unique_ptr<Directory> directory_ = opened(folder_.path());
};

TEST_F(DirectoryPosixTest, NamesAreAllDirectEntriesEachTime) {
    EXPECT_THAT(directory().names(), testing::IsEmpty());
    writeFile(place("a"), "");
    writeFile(place(".hidden"), "");
    std::filesystem::create_directory(place("folder"));
    writeFile(place("folder") / "below", "");
    std::filesystem::create_symlink("nowhere", place("link"));
    const auto all = testing::UnorderedElementsAre("a", ".hidden", "folder", "link");
    EXPECT_THAT(directory().names(), all);
    EXPECT_THAT(directory().names(), all);
}

TEST_F(DirectoryPosixTest, NamesMayHoldAnyByteButTheSlash) {
    const std::string strange = "\xFF\n\x01 \"'*";
    writeFile(place(strange), "text");
    EXPECT_THAT(directory().names(), testing::ElementsAre(strange));
    EXPECT_EQ(directory().attributes(strange).size, 4);
    directory().remove(strange);
    EXPECT_THAT(directory().names(), testing::IsEmpty());
}

TEST_F(DirectoryPosixTest, AttributesAreThoseOfTheEntryItself) {
    const struct {
        TrapKind kind;
        FileType type;
    } rows[] = {
        {TrapKind::link, FileType::symbolicLink},
        {TrapKind::danglingLink, FileType::symbolicLink},
        {TrapKind::linkToDirectory, FileType::symbolicLink},
        {TrapKind::fifo, FileType::other},
        {TrapKind::socket, FileType::other},
        {TrapKind::directory, FileType::directory},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(nameOf(row.kind));
        const Trap trap(place(nameOf(row.kind)), row.kind);
        EXPECT_EQ(directory().attributes(nameOf(row.kind)).type, row.type);
        trap.expectUntouched();
    }
    writeFile(place(), "12345");
    EXPECT_EQ(directory().attributes("entry").type, FileType::regular);
    EXPECT_EQ(directory().attributes("entry").size, 5);
    EXPECT_EQ(opened("/dev")->attributes("null").type, FileType::other);
}

TEST_F(DirectoryPosixTest, SizesGoBeyondThirtyTwoBits) {
    writeFile(place(), "");
    std::filesystem::resize_file(place(), 6'442'450'944);
    EXPECT_EQ(directory().attributes("entry").size, 6'442'450'944);
}

TEST_F(DirectoryPosixTest, TimesAreExactToTheNanosecond) {
    writeFile(place(), "");
    const timespec times[] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1'750'000'000, .tv_nsec = 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, place().c_str(), times, 0), 0);
    const auto expected = std::chrono::seconds(1'750'000'000) + std::chrono::nanoseconds(123'456'789);
    EXPECT_EQ(directory().attributes("entry").modified, WallTime(expected));
}

// The file system keeps what it can of such a date; it must not come back from the other end of time.
TEST_F(DirectoryPosixTest, TimesBeyondWhatTheClockSpansStayOnTheirSide) {
    writeFile(place(), "");
    constexpr std::time_t yearTenThousand = 253'402'300'800;
    for (const std::time_t seconds : {yearTenThousand, std::numeric_limits<std::time_t>::max()}) {
        const timespec times[] = {{.tv_sec = 1}, {.tv_sec = seconds, .tv_nsec = 999'999'999}};
        ASSERT_EQ(::utimensat(AT_FDCWD, place().c_str(), times, 0), 0);
        EXPECT_GT(*directory().attributes("entry").modified,
                  std::chrono::system_clock::from_time_t(2'000'000'000));
    }
    const timespec longAgo[] = {{.tv_sec = 1}, {.tv_sec = -yearTenThousand}};
    ASSERT_EQ(::utimensat(AT_FDCWD, place().c_str(), longAgo, 0), 0);
    EXPECT_LT(*directory().attributes("entry").modified, WallTime());
}

TEST_F(DirectoryPosixTest, MissingEntryIsAnErrorOfEveryOperation) {
    expectPlatformError(FileErrorCode::readNoSuchFile,
                        [this] { static_cast<void>(directory().attributes("entry")); });
    for (const FileAccess access : allAccesses) {
        expectPlatformError(FileErrorCode::readNoSuchFile,
                            [&] { static_cast<void>(directory().open("entry", access)); });
    }
    expectPlatformError(FileErrorCode::noSuchFile, [this] { directory().remove("entry"); });
    EXPECT_THAT(directory().names(), testing::IsEmpty());
}

TEST_F(DirectoryPosixTest, CreatedFileIsEmptyAndForTheOwnerOnly) {
    directory().createIfMissing("entry");
    EXPECT_EQ(readFile(place()), "");
    EXPECT_EQ(permissionsOf(place()), 0600U);
}

TEST_F(DirectoryPosixTest, PermissionsDoNotDependOnTheMask) {
    for (const mode_t mask : {0U, 0777U}) {
        runInChild([&] {
            ::umask(mask);
            directory().createIfMissing("created" + std::to_string(mask));
            directory().replace("replaced" + std::to_string(mask), asBytes("text"));
            static_cast<void>(directory().lock("locked" + std::to_string(mask)));
        });
    }
    const auto names = directory().names();
    EXPECT_EQ(names.size(), 6U);
    for (const std::string& name : names) {
        EXPECT_EQ(permissionsOf(place(name)), 0600U) << name;
    }
}

TEST_F(DirectoryPosixTest, ExistingFileIsNotMadeAgain) {
    writeFile(place(), "text");
    std::filesystem::permissions(place(), std::filesystem::perms{0640});
    directory().createIfMissing("entry");
    EXPECT_EQ(readFile(place()), "text");
    EXPECT_EQ(permissionsOf(place()), 0640U);
}

TEST_F(DirectoryPosixTest, CreationDoesNotGoThroughATrap) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        directory().createIfMissing(nameOf(kind));
        trap.expectUntouched();
    }
}

TEST_F(DirectoryPosixTest, OpeningATrapIsAnErrorAtOnceWithoutASideEffect) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(nameOf(kind)), kind);
        for (const FileAccess access : allAccesses) {
            expectPlatformError(FileErrorCode::notRegularFile,
                                [&] { static_cast<void>(directory().open(nameOf(kind), access)); });
        }
        trap.expectUntouched();
    }
}

TEST_F(DirectoryPosixTest, DevicesAreNotOpened) {
    const auto devices = opened("/dev");
    for (const char* name : {"null", "zero", "tty"}) {
        for (const FileAccess access : allAccesses) {
            expectPlatformError(FileErrorCode::notRegularFile,
                                [&] { static_cast<void>(devices->open(name, access)); });
        }
    }
}

TEST_F(DirectoryPosixTest, PlantedDeviceIsNotOpened) {
    if (::mknod(place().c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
        GTEST_SKIP() << "making a device is not permitted here";
    }
    for (const FileAccess access : allAccesses) {
        expectPlatformError(FileErrorCode::notRegularFile,
                            [&] { static_cast<void>(directory().open("entry", access)); });
    }
    directory().createIfMissing("entry");
    EXPECT_EQ(directory().attributes("entry").type, FileType::other);
}

TEST_F(DirectoryPosixTest, RemoveTakesTheEntryItself) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(place(), kind);
        directory().remove("entry");
        EXPECT_THAT(directory().names(), testing::IsEmpty());
        trap.expectOutsideUntouched();
    }
    writeFile(place(), "text");
    directory().remove("entry");
    EXPECT_THAT(directory().names(), testing::IsEmpty());
}

TEST_F(DirectoryPosixTest, DirectoryIsNotRemoved) {
    std::filesystem::create_directory(place());
    expectPlatformError(FileErrorCode::writeUnknown, [this] { directory().remove("entry"); });
    EXPECT_TRUE(std::filesystem::is_directory(place()));
}

TEST_F(DirectoryPosixTest, OperationsStayWithTheDirectoryWhateverBecomesOfItsPath) {
    std::filesystem::create_directory(place("cache"));
    writeFile(place("cache") / "old", "old");
    const auto cache = opened(place("cache"));
    std::filesystem::rename(place("cache"), place("moved"));
    const Trap trap(place("cache"), TrapKind::linkToDirectory);

    cache->createIfMissing("created");
    cache->replace("replaced", asBytes("text"));
    cache->open("created", FileAccess::append)->write(asBytes("line"));
    cache->remove("old");
    const auto lock = cache->lock("lock");

    EXPECT_THAT(cache->names(), testing::UnorderedElementsAre("created", "replaced", "lock"));
    EXPECT_EQ(readFile(place("moved") / "created"), "line");
    EXPECT_EQ(readFile(place("moved") / "replaced"), "text");
    trap.expectUntouched();
}

TEST_F(DirectoryPosixTest, MissingPermissionIsAnError) {
    runInChild([] {
        Testing::dropPrivileges();
        const TemporaryDirectory own;
        const auto cache = opened(own.path());
        writeFile(own / "entry", "text");
        std::filesystem::permissions(own / "entry", std::filesystem::perms::none);
        expectPlatformError(FileErrorCode::readNoPermission,
                            [&] { static_cast<void>(cache->open("entry", FileAccess::read)); });
        for (const FileAccess access : {FileAccess::update, FileAccess::append}) {
            expectPlatformError(FileErrorCode::writeNoPermission,
                                [&] { static_cast<void>(cache->open("entry", access)); });
        }

        std::filesystem::permissions(own.path(), std::filesystem::perms{0500});
        cache->createIfMissing("new");
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { cache->replace("entry", asBytes("x")); });
        expectPlatformError(FileErrorCode::writeNoPermission, [&] { cache->remove("entry"); });
        EXPECT_THAT(cache->names(), testing::ElementsAre("entry"));

        std::filesystem::permissions(own.path(), std::filesystem::perms{0600});
        expectPlatformError(FileErrorCode::readNoPermission,
                            [&] { static_cast<void>(cache->attributes("entry")); });
        std::filesystem::permissions(own.path(), std::filesystem::perms{0700});
    });
}

TEST_F(DirectoryPosixTest, ReadOnlyVolumeIsAnErrorOfEveryWrite) {
    runInChild([this] {
        if (!Testing::mountVolume(path(), "size=64k")) {
            GTEST_SKIP() << "mounting a volume is not permitted here";
        }
        writeFile(place(), "text");
        ASSERT_EQ(::mount("tmpfs", path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=64k"), 0);
        const auto volume = opened(path());
        constexpr FileErrorCode readOnly = FileErrorCode::writeVolumeReadOnly;
        expectPlatformError(readOnly, [&] { static_cast<void>(volume->open("entry", FileAccess::update)); });
        expectPlatformError(readOnly, [&] { static_cast<void>(volume->open("entry", FileAccess::append)); });
        expectPlatformError(readOnly, [&] { volume->replace("entry", asBytes("x")); });
        expectPlatformError(readOnly, [&] { volume->remove("entry"); });
        volume->createIfMissing("new");
        EXPECT_THAT(volume->names(), testing::ElementsAre("entry"));
        EXPECT_NE(volume->open("entry", FileAccess::read), nullptr);
    });
}

// Marks the file so that not even root can change it, as long as the object lives.
class ImmutableFile {
public:
    explicit ImmutableFile(const std::filesystem::path& file)
        : file_(::open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        permitted_ = ::ioctl(file_.get(), FS_IOC_GETFLAGS, &flags_) == 0 && set(flags_ | FS_IMMUTABLE_FL);
    }

    ImmutableFile(const ImmutableFile&) = delete;
    ImmutableFile& operator=(const ImmutableFile&) = delete;

    ~ImmutableFile() {
        if (permitted_) {
            set(flags_);
        }
    }

    [[nodiscard]] bool permitted() const { return permitted_; }

private:
    bool set(int flags) const { return ::ioctl(file_.get(), FS_IOC_SETFLAGS, &flags) == 0; }

    Descriptor file_;
    int flags_ = 0;
    bool permitted_ = false;
};

TEST_F(DirectoryPosixTest, ImmutableFileIsAnErrorOfEveryWrite) {
    writeFile(place(), "text");
    const ImmutableFile immutable(place());
    if (!immutable.permitted()) {
        GTEST_SKIP() << "marking a file immutable is not permitted here";
    }
    constexpr FileErrorCode refused = FileErrorCode::writeNoPermission;
    expectPlatformError(refused, [&] { static_cast<void>(directory().open("entry", FileAccess::update)); });
    expectPlatformError(refused, [&] { directory().replace("entry", asBytes("x")); });
    expectPlatformError(refused, [&] { directory().remove("entry"); });
    EXPECT_THAT(directory().names(), testing::ElementsAre("entry"));
    EXPECT_EQ(readFile(place()), "text");
}

} // namespace

} // namespace InstallerCore
