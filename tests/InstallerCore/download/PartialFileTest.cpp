#include "InstallerCore/download/PartialFile.h"

#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>

#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::FaultyFiles;
using testing::IsEmpty;
using testing::Not;
using Testing::permissionsOf;
using Testing::readFile;
using Testing::TemporaryDirectory;
using Testing::Trap;
using Testing::TrapKind;
using testing::UnorderedElementsAre;
using Testing::writeFile;

constexpr std::int64_t completeSize = 10;

class PartialFileTest : public testing::Test {
protected:
    [[nodiscard]] PartialFile open(std::int64_t size = completeSize) { return {files_, file(), size}; }

    [[nodiscard]] std::filesystem::path file() const { return folder_ / "image.dmg"; }

    [[nodiscard]] std::filesystem::path sidecar() const { return folder_ / "image.dmg.etag"; }

    [[nodiscard]] std::vector<std::string> names() { return real_.openDirectory(folder_.path())->names(); }

    [[nodiscard]] std::optional<std::string> validatorFor(std::string_view stored) {
        writeFile(sidecar(), stored);
        return open().validator();
    }

    TemporaryDirectory folder_;
    FilesPosix real_{folder_.path()};
    FaultyFiles files_{real_};
};

TEST_F(PartialFileTest, MissingFileIsMadeForTheOwnerOnly) {
    EXPECT_EQ(open().initialSize(), 0);
    EXPECT_EQ(readFile(file()), "");
    EXPECT_EQ(permissionsOf(file()), 0600U);
    EXPECT_THAT(names(), ElementsAre("image.dmg"));
}

TEST_F(PartialFileTest, WhatIsAppendedFollowsWhatIsThere) {
    writeFile(file(), "abc");
    PartialFile partial = open();
    EXPECT_EQ(partial.initialSize(), 3);
    partial.append(asBytes("def"));
    partial.append({});
    partial.append(asBytes("ghij"));
    partial.finish();
    EXPECT_EQ(readFile(file()), "abcdefghij");
}

TEST_F(PartialFileTest, CompleteFileIsKept) {
    writeFile(file(), "0123456789");
    EXPECT_EQ(open().initialSize(), completeSize);
    EXPECT_EQ(readFile(file()), "0123456789");
}

TEST_F(PartialFileTest, LargerFileIsEmptied) {
    writeFile(file(), "0123456789A");
    PartialFile partial = open();
    EXPECT_EQ(partial.initialSize(), 0);
    EXPECT_EQ(readFile(file()), "");
    partial.append(asBytes("new"));
    EXPECT_EQ(readFile(file()), "new");
}

TEST_F(PartialFileTest, RestartBeginsAgainAtTheStart) {
    writeFile(file(), "abc");
    PartialFile partial = open();
    partial.append(asBytes("def"));
    partial.restart();
    EXPECT_EQ(readFile(file()), "");
    partial.append(asBytes("xy"));
    partial.finish();
    EXPECT_EQ(readFile(file()), "xy");
}

TEST_F(PartialFileTest, SizesGoBeyondThirtyTwoBits) {
    constexpr std::int64_t sixGigabytes = 6'442'450'944;
    writeFile(file(), "");
    std::filesystem::resize_file(file(), sixGigabytes);
    PartialFile partial = open(sixGigabytes + 1'000);
    EXPECT_EQ(partial.initialSize(), sixGigabytes);
    partial.append(asBytes("end"));
    partial.finish();
    EXPECT_EQ(std::filesystem::file_size(file()), sixGigabytes + 3);
    EXPECT_EQ(open(sixGigabytes).initialSize(), 0);
    EXPECT_EQ(std::filesystem::file_size(file()), 0U);
}

TEST_F(PartialFileTest, TrapIsUnsafe) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(file(), kind);
        expectInstallerError("Unsafe cache file", [this] { static_cast<void>(open()); });
        trap.expectUntouched();
        std::filesystem::remove(file());
    }
    EXPECT_THAT(files_.calls(), Not(testing::Contains("Directory.open"))) << "more than a look was taken";
}

TEST_F(PartialFileTest, TrapSwappedInBetweenTheLookAndTheOpenIsUnsafe) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        writeFile(file(), "abc");
        std::optional<Trap> trap;
        files_.before = [&](const std::string& operation, const std::string&) {
            if (operation == "Directory.open") {
                std::filesystem::remove(file());
                trap.emplace(file(), kind);
            }
        };
        expectInstallerError("Unsafe cache file", [this] { static_cast<void>(open()); });
        ASSERT_TRUE(trap);
        trap->expectUntouched();
        std::filesystem::remove(file());
    }
}

TEST_F(PartialFileTest, TrapSwappedInOnceItIsOpenIsNotWrittenTo) {
    writeFile(file(), "abc");
    PartialFile partial = open();
    std::filesystem::rename(file(), folder_ / "moved");
    const Trap trap(file(), TrapKind::link);
    partial.append(asBytes("def"));
    partial.restart();
    partial.append(asBytes("new"));
    partial.finish();
    trap.expectUntouched();
    EXPECT_EQ(readFile(folder_ / "moved"), "new");
}

TEST_F(PartialFileTest, LinkInPlaceOfTheCacheItselfIsNotFollowed) {
    TemporaryDirectory outer;
    const Trap trap(outer / "cache", TrapKind::linkToDirectory);
    EXPECT_THROW(PartialFile(files_, outer / "cache" / "image.dmg", completeSize), PlatformError);
    trap.expectUntouched();
}

// Only the owner can put one into the private cache; it is a regular file like any other.
TEST_F(PartialFileTest, HardLinkIsARegularFile) {
    writeFile(folder_ / "other", "abc");
    std::filesystem::create_hard_link(folder_ / "other", file());
    PartialFile partial = open();
    EXPECT_EQ(partial.initialSize(), 3);
    partial.append(asBytes("def"));
    EXPECT_EQ(readFile(folder_ / "other"), "abcdef");
}

TEST_F(PartialFileTest, ValidatorIsTheStoredTextExactly) {
    for (const char* stored :
         {"\"abc\"", "W/\"abc\"", "  \"leading\"", "trailing  ", "x", "\"\xC3\xA9\"", " "}) {
        EXPECT_EQ(validatorFor(stored), stored);
    }
}

TEST_F(PartialFileTest, LongestValidatorIsRead) {
    const std::string longest(65'536, 'x');
    EXPECT_EQ(validatorFor(longest), longest);
    EXPECT_EQ(validatorFor(longest + "x"), std::nullopt);
}

TEST_F(PartialFileTest, ThereIsNoValidatorWithoutText) {
    EXPECT_EQ(open().validator(), std::nullopt);
    EXPECT_EQ(validatorFor(""), std::nullopt);
}

TEST_F(PartialFileTest, ValidatorThatCannotBeAHeaderIsNone) {
    const std::string_view unfit[] = {
        "\"abc\"\r\nHost: elsewhere",
        "\"abc\"\n",
        "\r",
        "\n",
        {"\"a\0b\"", 5},
        {"\0", 1},
        "\"a\x7F\"",
        "a\tb",
        "\x01",
        "\x1F",
    };
    for (const std::string_view stored : unfit) {
        EXPECT_EQ(validatorFor(stored), std::nullopt) << testing::PrintToString(stored);
    }
}

TEST_F(PartialFileTest, ValidatorThatIsNotTextIsNone) {
    for (const char* stored : {"\xFF", "\"\xC3\"", "\xC0\x80", "\xED\xA0\x80", "abc\xF5"}) {
        EXPECT_EQ(validatorFor(stored), std::nullopt) << testing::PrintToString(stored);
    }
}

TEST_F(PartialFileTest, TrapInPlaceOfTheValidatorIsNone) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(sidecar(), kind);
        EXPECT_EQ(open().validator(), std::nullopt);
        trap.expectUntouched();
        std::filesystem::remove(sidecar());
    }
}

TEST_F(PartialFileTest, FailureToReadTheValidatorIsNone) {
    writeFile(sidecar(), "\"abc\"");
    const PartialFile partial = open();
    files_.failAt("FileHandle.read", 1, FileErrorCode::readUnknown);
    EXPECT_EQ(partial.validator(), std::nullopt);
    EXPECT_EQ(partial.validator(), "\"abc\"");
}

TEST_F(PartialFileTest, SavedValidatorIsForTheOwnerOnlyAndReplacesTheOld) {
    PartialFile partial = open();
    partial.saveValidator("\"first, and longer\"");
    EXPECT_EQ(readFile(sidecar()), "\"first, and longer\"");
    EXPECT_EQ(permissionsOf(sidecar()), 0600U);
    partial.saveValidator("\"second\"");
    EXPECT_EQ(readFile(sidecar()), "\"second\"");
    partial.saveValidator("");
    EXPECT_EQ(readFile(sidecar()), "");
    EXPECT_EQ(partial.validator(), std::nullopt);
    EXPECT_THAT(names(), UnorderedElementsAre("image.dmg", "image.dmg.etag"));
}

TEST_F(PartialFileTest, SavedValidatorTakesThePlaceOfATrap) {
    for (const TrapKind kind : allTraps) {
        if (kind == TrapKind::directory) {
            continue;
        }
        SCOPED_TRACE(nameOf(kind));
        const Trap trap(sidecar(), kind);
        open().saveValidator("\"abc\"");
        EXPECT_EQ(readFile(sidecar()), "\"abc\"");
        trap.expectOutsideUntouched();
        std::filesystem::remove(sidecar());
    }
    std::filesystem::create_directory(sidecar());
    expectPlatformError(FileErrorCode::writeUnknown, [this] { open().saveValidator("\"abc\""); });
    EXPECT_THAT(names(), UnorderedElementsAre("image.dmg", "image.dmg.etag"));
}

TEST_F(PartialFileTest, FailureToSaveKeepsTheOldValidator) {
    PartialFile partial = open();
    partial.saveValidator("\"old\"");
    files_.failAt("Directory.replace", 1, FileErrorCode::writeOutOfSpace);
    expectPlatformError(FileErrorCode::writeOutOfSpace, [&] { partial.saveValidator("\"new\""); });
    EXPECT_EQ(partial.validator(), "\"old\"");
}

TEST_F(PartialFileTest, EachFailureIsPassedThroughAndTheFileIsKept) {
    const struct {
        const char* operation;
        FileErrorCode code;
    } rows[] = {
        {"Files.openDirectory", FileErrorCode::readNoPermission},
        {"Directory.attributes", FileErrorCode::readUnknown},
        {"Directory.open", FileErrorCode::writeNoPermission},
        {"Directory.open", FileErrorCode::noSuchFile},
        {"FileHandle.seekToEnd", FileErrorCode::readUnknown},
        {"FileHandle.write", FileErrorCode::writeOutOfSpace},
        {"FileHandle.synchronize", FileErrorCode::writeUnknown},
        {"FileHandle.close", FileErrorCode::writeOutOfSpace},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.operation);
        writeFile(file(), "abc");
        writeFile(sidecar(), "\"tag\"");
        files_.failAt(row.operation, 1, row.code);
        expectPlatformError(row.code, [this] {
            PartialFile partial = open();
            partial.append(asBytes("def"));
            partial.finish();
        });
        EXPECT_TRUE(readFile(file()).starts_with("abc"));
        EXPECT_EQ(readFile(sidecar()), "\"tag\"");
    }
}

TEST_F(PartialFileTest, FailureToEmptyALargerFileIsPassedThrough) {
    writeFile(file(), "0123456789A");
    files_.failAt("FileHandle.truncate", 1, FileErrorCode::writeUnknown);
    expectPlatformError(FileErrorCode::writeUnknown, [this] { static_cast<void>(open()); });
    EXPECT_EQ(readFile(file()), "0123456789A");
}

TEST_F(PartialFileTest, FileThatCannotBeMadeIsMissing) {
    files_.failAt("Directory.createIfMissing", 1, FileErrorCode::writeOutOfSpace);
    expectPlatformError(FileErrorCode::readNoSuchFile, [this] { static_cast<void>(open()); });
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(PartialFileTest, FinishClosesAlsoWhenFlushingFails) {
    PartialFile partial = open();
    const auto descriptors = [] {
        const auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    files_.failAt("FileHandle.synchronize", 1, FileErrorCode::writeUnknown);
    expectPlatformError(FileErrorCode::writeUnknown, [&] { partial.finish(); });
    EXPECT_EQ(descriptors(), before - 1);
}

} // namespace

} // namespace InstallerCore
