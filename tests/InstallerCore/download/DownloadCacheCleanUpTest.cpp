#include "InstallerCore/download/DownloadCache.h"
#include "tests/support/MockFiles.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <string>

namespace InstallerCore {

namespace {

using std::chrono::hours;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::_;
using Testing::allTraps;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::MockDirectory;
using Testing::MockFiles;
using testing::Return;
using Testing::TestPlatform;
using Testing::Trap;
using Testing::TrapKind;
using testing::UnorderedElementsAre;
using Testing::writeFile;

const std::string digest64(64, 'a');
const std::string digest128 = std::string(64, '0') + std::string(64, 'f');
const std::string image = digest128 + ".dmg";
const std::string validator = image + ".etag";

constexpr seconds sevenDays(604'800);

void setTime(const std::filesystem::path& path, WallTime time) {
    const auto sinceEpoch = time.time_since_epoch();
    const auto whole = std::chrono::floor<seconds>(sinceEpoch);
    const timespec value{.tv_sec = whole.count(), .tv_nsec = nanoseconds(sinceEpoch - whole).count()};
    const timespec times[] = {value, value};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

class DownloadCacheCleanUpTest : public testing::Test {
protected:
    // Makes a file of an age; an age of nothing is that of a file just written.
    void add(const std::string& name, nanoseconds age) {
        writeFile(cache_ / name, "content");
        setTime(cache_ / name, test_.clock.now() - age);
    }

    [[nodiscard]] std::vector<std::string> names() const {
        return test_.realFiles.openDirectory(cache_)->names();
    }

    void sweep() { cleanExpiredDownloads(cache_, test_.platform); }

    [[nodiscard]] bool removePackage() {
        return DownloadCache::removeInstalledPackage(cache_ / image, test_.platform);
    }

    mutable TestPlatform test_;
    std::filesystem::path cache_ = privateCache(test_.platform);
};

using ExpirySweepTest = DownloadCacheCleanUpTest;

TEST_F(ExpirySweepTest, ImageOfEightDaysGoesAndOneOfSixStays) {
    add(digest128 + ".dmg", hours(8 * 24));
    add(digest64 + ".dmg", hours(6 * 24));
    sweep();
    EXPECT_THAT(names(), ElementsAre(digest64 + ".dmg"));
}

TEST_F(ExpirySweepTest, SevenDaysExactlyAreNotTooOld) {
    const std::string older = std::string(64, '1') + ".dmg";
    const std::string exact = std::string(64, '2') + ".dmg";
    const std::string younger = std::string(64, '3') + ".dmg";
    add(older, sevenDays + nanoseconds(1));
    add(exact, sevenDays);
    add(younger, sevenDays - nanoseconds(1));
    sweep();
    EXPECT_THAT(names(), UnorderedElementsAre(exact, younger));
}

TEST_F(ExpirySweepTest, CutOffIsTakenBeforeTheListing) {
    add(image, sevenDays);
    test_.files.before = [this](const std::string& operation, const std::string&) {
        if (operation == "Directory.names") {
            test_.clock.set(test_.clock.now() + hours(1));
        }
    };
    sweep();
    EXPECT_THAT(names(), ElementsAre(image));
}

TEST_F(ExpirySweepTest, ImageAndValidatorAreJudgedEachByItself) {
    const std::string other = digest64 + ".dmg";
    add(image, hours(1));
    add(validator, hours(8 * 24));
    add(other, hours(8 * 24));
    add(other + ".etag", hours(1));
    sweep();
    EXPECT_THAT(names(), UnorderedElementsAre(image, other + ".etag"));
}

TEST_F(ExpirySweepTest, OtherNamesStayWhateverTheirAge) {
    const std::string others[] = {
        std::string(64, 'A') + ".dmg",
        "x.dmg",
        digest64 + ".dmg.part",
        digest64 + ".dmg.etag.etag",
        digest64 + ".etag",
        digest64,
        digest64 + ".dmg.etag\n",
        "." + digest64 + ".dmg",
        std::string(65, 'a') + ".dmg",
        "events.jsonl",
        "pending-install",
        "installer.lock",
    };
    for (const std::string& name : others) {
        add(name, hours(1'000 * 24));
    }
    sweep();
    EXPECT_THAT(names(), testing::UnorderedElementsAreArray(others));
}

TEST_F(ExpirySweepTest, LinksStayAndSoDoesWhatTheyLeadTo) {
    int number = 0;
    for (const TrapKind kind : Testing::allTrapLinks) {
        SCOPED_TRACE(nameOf(kind));
        const std::filesystem::path place =
            cache_ / (std::string(64, static_cast<char>('0' + number++)) + ".dmg");
        const Trap trap(place, kind);
        setTime(place, test_.clock.now() - hours(100 * 24));
        sweep();
        trap.expectUntouched();
    }
}

TEST_F(ExpirySweepTest, DirectoryOfSuchANameStays) {
    std::filesystem::create_directory(cache_ / image);
    writeFile(cache_ / image / "below", "content");
    setTime(cache_ / image, test_.clock.now() - hours(100 * 24));
    sweep();
    EXPECT_TRUE(std::filesystem::exists(cache_ / image / "below"));
}

TEST_F(ExpirySweepTest, OnlyDirectEntriesAreLookedAt) {
    std::filesystem::create_directory(cache_ / "folder");
    add("folder/" + image, hours(100 * 24));
    sweep();
    EXPECT_TRUE(std::filesystem::exists(cache_ / "folder" / image));
}

TEST_F(ExpirySweepTest, DatesAtTheEndsOfTimeAreJudgedRightly) {
    add(image, hours(0));
    add(digest64 + ".dmg", hours(0));
    const timespec farOff[] = {{.tv_sec = 1}, {.tv_sec = 253'402'300'800}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (cache_ / image).c_str(), farOff, 0), 0);
    const timespec longAgo[] = {{.tv_sec = 1}, {.tv_sec = -253'402'300'800}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (cache_ / (digest64 + ".dmg")).c_str(), longAgo, 0), 0);
    sweep();
    EXPECT_THAT(names(), ElementsAre(image));
}

TEST_F(ExpirySweepTest, FailureOfOneEntryIsSilentAndTheSweepGoesOn) {
    for (const char* operation : {"Directory.attributes", "Directory.remove"}) {
        SCOPED_TRACE(operation);
        for (const char digit : {'1', '2', '3'}) {
            add(std::string(64, digit) + ".dmg", hours(100 * 24));
        }
        test_.files.failAt(operation, 2, FileErrorCode::writeNoPermission);
        sweep();
        EXPECT_EQ(names().size(), 1U);
        sweep();
        EXPECT_THAT(names(), IsEmpty());
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(ExpirySweepTest, EntryThatGoesAwayMeanwhileIsNoMatter) {
    add(image, hours(100 * 24));
    add(validator, hours(100 * 24));
    test_.files.before = [this](const std::string& operation, const std::string& name) {
        if (operation == "Directory.remove") {
            std::filesystem::remove(cache_ / name);
        }
    };
    sweep();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(ExpirySweepTest, CacheThatCannotBeListedIsLeftQuietly) {
    for (const char* operation : {"Files.openDirectory", "Directory.names"}) {
        add(image, hours(100 * 24));
        test_.files.failAt(operation, 1, FileErrorCode::readNoPermission);
        sweep();
        EXPECT_THAT(names(), ElementsAre(image));
    }
    cleanExpiredDownloads(cache_ / "missing", test_.platform);
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(ExpirySweepTest, EntryWithoutADateStays) {
    auto directory = std::make_unique<testing::NiceMock<MockDirectory>>();
    EXPECT_CALL(*directory, names).WillOnce(Return(std::vector{image}));
    EXPECT_CALL(*directory, attributes(image)).WillOnce(Return(FileAttributes{.type = FileType::regular}));
    EXPECT_CALL(*directory, remove).Times(0);
    MockFiles files;
    EXPECT_CALL(files, openDirectory(cache_)).WillOnce(Return(testing::ByMove(std::move(directory))));
    cleanExpiredDownloads(cache_, test_.with(files));
}

using RemoveInstalledPackageTest = DownloadCacheCleanUpTest;

TEST_F(RemoveInstalledPackageTest, ImageAndValidatorGoAndNothingElse) {
    for (const std::string& name : {image, validator, digest64 + ".dmg", std::string("events.jsonl")}) {
        add(name, hours(0));
    }
    EXPECT_TRUE(removePackage());
    EXPECT_THAT(names(), UnorderedElementsAre(digest64 + ".dmg", "events.jsonl"));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(RemoveInstalledPackageTest, WhatIsGoneAlreadyIsWell) {
    EXPECT_TRUE(removePackage());
    add(image, hours(0));
    EXPECT_TRUE(removePackage());
    add(validator, hours(0));
    EXPECT_TRUE(removePackage());
    EXPECT_TRUE(DownloadCache::removeInstalledPackage(cache_ / "missing" / image, test_.platform));
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(RemoveInstalledPackageTest, AnythingButARegularFileStays) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        {
            const Trap trap(cache_ / image, kind);
            add(validator, hours(0));
            EXPECT_FALSE(removePackage());
            trap.expectUntouched();
            EXPECT_THAT(names(), ElementsAre(image));
            std::filesystem::remove(cache_ / image);
        }
        const Trap trap(cache_ / validator, kind);
        add(image, hours(0));
        EXPECT_FALSE(removePackage());
        trap.expectUntouched();
        EXPECT_THAT(names(), ElementsAre(validator));
        std::filesystem::remove(cache_ / validator);
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(RemoveInstalledPackageTest, EntryOfUnknownTypeStays) {
    for (const std::string& unknown : {image, validator}) {
        MockFiles files;
        EXPECT_CALL(files, openDirectory(cache_)).WillRepeatedly([&unknown](const std::filesystem::path&) {
            auto directory = std::make_unique<testing::NiceMock<MockDirectory>>();
            ON_CALL(*directory, attributes(_)).WillByDefault([&unknown](const std::string& name) {
                return name == unknown ? FileAttributes{} : FileAttributes{.type = FileType::regular};
            });
            EXPECT_CALL(*directory, remove(_)).Times(testing::AnyNumber());
            EXPECT_CALL(*directory, remove(unknown)).Times(0);
            return directory;
        });
        const Platform platform = test_.with(files);
        EXPECT_FALSE(DownloadCache::removeInstalledPackage(cache_ / image, platform));
    }
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(RemoveInstalledPackageTest, FailureIsLoggedAndTheOtherFileIsTriedAllTheSame) {
    const char* const lines[] = {
        "Installer download cache cleanup deferred: There is no permission to write the file.",
        "Installer download cache cleanup deferred: The file could not be read.",
    };
    for (const char* operation : {"Files.openDirectory", "Directory.attributes", "Directory.remove"}) {
        for (const int count : {1, 2}) {
            SCOPED_TRACE(operation + std::to_string(count));
            TestPlatform test;
            const std::filesystem::path cache = privateCache(test.platform);
            writeFile(cache / image, "content");
            writeFile(cache / validator, "tag");
            const bool isRemoval = std::string_view(operation) == "Directory.remove";
            test.files.failAt(operation, count,
                              isRemoval ? FileErrorCode::writeNoPermission : FileErrorCode::readUnknown);
            EXPECT_FALSE(DownloadCache::removeInstalledPackage(cache / image, test.platform));
            EXPECT_EQ(std::filesystem::exists(cache / image), count == 1);
            EXPECT_EQ(std::filesystem::exists(cache / validator), count == 2);
            EXPECT_THAT(test.log.lines(), ElementsAre(lines[isRemoval ? 0 : 1]));
        }
    }
}

TEST_F(RemoveInstalledPackageTest, BothCodesOfAMissingFileCountAsGone) {
    for (const char* operation : {"Files.openDirectory", "Directory.attributes", "Directory.remove"}) {
        for (const FileErrorCode code : {FileErrorCode::noSuchFile, FileErrorCode::readNoSuchFile}) {
            for (const int count : {1, 2}) {
                SCOPED_TRACE(operation + std::to_string(count));
                TestPlatform test;
                const std::filesystem::path cache = privateCache(test.platform);
                writeFile(cache / image, "content");
                writeFile(cache / validator, "tag");
                test.files.failAt(operation, count, code);
                EXPECT_TRUE(DownloadCache::removeInstalledPackage(cache / image, test.platform));
                EXPECT_THAT(test.log.lines(), IsEmpty());
                EXPECT_EQ(std::filesystem::exists(cache / image), count == 1);
                EXPECT_EQ(std::filesystem::exists(cache / validator), count == 2);
            }
        }
    }
}

TEST_F(RemoveInstalledPackageTest, TwoFailuresAreTwoLines) {
    add(image, hours(0));
    add(validator, hours(0));
    test_.files.failAt("Directory.attributes", 1, FileErrorCode::readNoPermission);
    test_.files.failAt("Directory.remove", 1, FileErrorCode::writeVolumeReadOnly);
    EXPECT_FALSE(removePackage());
    EXPECT_THAT(
        test_.log.lines(),
        ElementsAre("Installer download cache cleanup deferred: There is no permission to read the file.",
                    "Installer download cache cleanup deferred: The volume of the file is read-only."));
    EXPECT_THAT(names(), UnorderedElementsAre(image, validator));
}

TEST_F(RemoveInstalledPackageTest, LinkSwappedInBeforeTheRemovalGoesItself) {
    add(image, hours(0));
    std::optional<Trap> trap;
    test_.files.before = [&](const std::string& operation, const std::string& name) {
        if (operation == "Directory.remove" && name == image) {
            std::filesystem::remove(cache_ / image);
            trap.emplace(cache_ / image, TrapKind::link);
        }
    };
    EXPECT_TRUE(removePackage());
    ASSERT_TRUE(trap);
    trap->expectOutsideUntouched();
    EXPECT_THAT(names(), IsEmpty());
}

} // namespace

} // namespace InstallerCore
