#include "hosts/linux/diskimage/UnpackerOutput.h"

#include "InstallerCore/support/PlatformError.h"
#include "tests/hosts/linux/diskimage/HandmadeImage.h"
#include "tests/support/Expect.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

namespace InstallerCore {

namespace {

using namespace Testing;

HandmadeImage imageForUnpacker(RunKind kind) {
    HandmadeImage image;
    image.add({{.kind = RunKind::raw, .decoded = sampleSectors(1)}});
    image.add({{.kind = kind, .decoded = sampleSectors(40, 1)},
               {.kind = RunKind::zeroFill, .decoded = zeroSectors(3)},
               {.kind = RunKind::zlib, .decoded = sampleSectors(5, 2)},
               {.kind = RunKind::ignore, .decoded = zeroSectors(4)},
               {.kind = kind, .decoded = sampleSectors(7, 3)}});
    image.add({{.kind = RunKind::ignore, .decoded = zeroSectors(2)}});
    return image;
}

// A program in the unpacker's place: a shell script.
class UnpackerOutputTest : public ::testing::Test {
protected:
    std::string script(const std::string& body) {
        writeFile(directory_ / "unpacker", "#!/bin/sh\n" + body + '\n');
        std::filesystem::permissions(directory_ / "unpacker", std::filesystem::perms::owner_all);
        return directory_ / "unpacker";
    }

    // With the disk in a file that scripts can print.
    std::string scriptWithDisk(const HandmadeImage& image, const std::string& body) {
        writeFile(directory_ / "disk", image.disk);
        return script("disk='" + (directory_ / "disk").string() + "'\n" + body);
    }

    TemporaryDirectory directory_;
};

const HandmadeImage& lzfseImage() {
    static const HandmadeImage image = imageForUnpacker(RunKind::lzfse);
    return image;
}

TEST_F(UnpackerOutputTest, LzfseAndAdcAreDecoded) {
    for (const RunKind kind : {RunKind::lzfse, RunKind::adc}) {
        const HandmadeImage image = imageForUnpacker(kind);
        EXPECT_TRUE(decode(image.file()) == image.disk);
    }
}

TEST_F(UnpackerOutputTest, OneFlippedByteInARunIsRefused) {
    for (const RunKind kind : {RunKind::lzfse, RunKind::adc}) {
        HandmadeImage image = imageForUnpacker(kind);
        image.data[512 + 1000] = static_cast<char>(image.data[512 + 1000] ^ 1);
        EXPECT_THROW(static_cast<void>(decode(image.file())), DiskImageError);
    }
}

TEST_F(UnpackerOutputTest, ImagesOfOtherKindsNeedNoUnpacker) {
    const HandmadeImage image = imageOfAllKinds();
    EXPECT_EQ(decode(image.file(), "/nonexistent/unpacker"), image.disk);
}

TEST_F(UnpackerOutputTest, AMissingProgramIsThePlatformsError) {
    expectPlatformError(ProcessErrorCode::noSuchExecutable,
                        [] { static_cast<void>(decode(lzfseImage().file(), "/nonexistent/unpacker")); });
    writeFile(directory_ / "unpacker", "not executable");
    expectPlatformError(ProcessErrorCode::notExecutable,
                        [&] { static_cast<void>(decode(lzfseImage().file(), directory_ / "unpacker")); });
}

TEST_F(UnpackerOutputTest, TheProgramGetsTheOpenImageAndNothingElse) {
    constexpr int beyondTheOthers = 20;
    const Descriptor inheritable(::fcntl(STDIN_FILENO, F_DUPFD, beyondTheOthers));
    ASSERT_GE(inheritable.get(), beyondTheOthers);
    const std::string file = lzfseImage().file();
    const std::string unpacker =
        scriptWithDisk(lzfseImage(), "printf '%s\\n' \"$@\" >\"$disk.arguments\"\ncp \"$6\" \"$disk.image\"\n"
                                     "cat >\"$disk.input\"\nls /proc/self/fd >\"$disk.open\"\ncat \"$disk\"");
    EXPECT_TRUE(decode(file, unpacker) == lzfseImage().disk);
    EXPECT_EQ(readFile(directory_ / "disk.arguments"), "x\n-tdmg\n-so\n-y\n--\n/proc/self/fd/3\n");
    EXPECT_EQ(readFile(directory_ / "disk.image"), file);
    EXPECT_EQ(readFile(directory_ / "disk.input"), "");
    EXPECT_EQ(readFile(directory_ / "disk.open"), "0\n1\n2\n3\n4\n"); // 4 is the listing itself
}

TEST_F(UnpackerOutputTest, OutputThatIsNotTheDiskIsRefused) {
    const struct {
        std::string body;
        std::string text;
    } cases[] = {
        {"", "the disk image holds less than it declares"},
        {"head -c 30000 \"$disk\"", "the disk image holds less than it declares"},
        {"head -c 31743 \"$disk\"", "the disk image holds less than it declares"},
        {"cat \"$disk\"; printf x", "the disk image holds more than it declares"},
        {"cat \"$disk\"; exec cat /dev/zero", "the disk image holds more than it declares"},
        {"cat \"$disk\"; exit 1", "the disk image cannot be unpacked"},
        {"cat \"$disk\"; exit 2", "the disk image cannot be unpacked"},
        {"cat \"$disk\"; kill -9 $$", "the disk image cannot be unpacked"},
        {"exec cat /dev/zero", "the checksum of partition 1 does not match"},
        {"head -c 512 \"$disk\"; exec cat /dev/zero", "the checksum of partition 2 does not match"},
    };

    ASSERT_EQ(lzfseImage().disk.size(), 31744U);
    for (const auto& [body, text] : cases) {
        SCOPED_TRACE(body);
        const std::string unpacker = scriptWithDisk(lzfseImage(), body);
        expectRefusal(text, [&] { static_cast<void>(decode(lzfseImage().file(), unpacker)); });
    }
}

TEST_F(UnpackerOutputTest, WhatTheProgramPutsIntoIgnoredSectorsStaysOut) {
    const HandmadeImage& image = lzfseImage();
    std::string output = image.disk;
    output.replace(output.size() - 1024, 1024, 1024, 'x'); // the last partition is ignored
    writeFile(directory_ / "output", output);
    const std::string unpacker = script("cat '" + (directory_ / "output").string() + "'");
    EXPECT_TRUE(decode(image.file(), unpacker) == image.disk);
}

TEST_F(UnpackerOutputTest, AProgramThatIsNotWaitedForIsKilled) {
    const std::string unpacker = script("echo $$; exec sleep 1000");
    std::string identifier(1, '\0');
    {
        UnpackerOutput output(unpacker, STDIN_FILENO);
        while (identifier.back() != '\n') {
            identifier.push_back('\0');
            output.read(std::as_writable_bytes(std::span(identifier).last(1)));
        }
    }
    EXPECT_NE(::kill(std::stoi(identifier.substr(1)), 0), 0);
}

} // namespace

} // namespace InstallerCore
