#include "hosts/posix/PosixError.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;

TEST(PosixErrorTest, ReadingMapsErrnoToTheReadCodes) {
    const struct {
        int errorNumber;
        FileErrorCode code;
    } rows[] = {
        {ENOENT, FileErrorCode::readNoSuchFile},    {EACCES, FileErrorCode::readNoPermission},
        {EPERM, FileErrorCode::readNoPermission},   {ELOOP, FileErrorCode::notRegularFile},
        {EIO, FileErrorCode::readUnknown},          {ENOTDIR, FileErrorCode::readUnknown},
        {EISDIR, FileErrorCode::readUnknown},       {EMFILE, FileErrorCode::readUnknown},
        {ENAMETOOLONG, FileErrorCode::readUnknown}, {ESTALE, FileErrorCode::readUnknown},
        {ERANGE, FileErrorCode::readUnknown},       {0, FileErrorCode::readUnknown},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::strerror(row.errorNumber));
        expectPlatformError(row.code, [&row] { throwReadError(row.errorNumber); });
    }
}

TEST(PosixErrorTest, WritingMapsErrnoToTheWriteCodes) {
    const struct {
        int errorNumber;
        FileErrorCode code;
    } rows[] = {
        {ENOENT, FileErrorCode::noSuchFile},       {EACCES, FileErrorCode::writeNoPermission},
        {EPERM, FileErrorCode::writeNoPermission}, {ENOSPC, FileErrorCode::writeOutOfSpace},
        {EDQUOT, FileErrorCode::writeOutOfSpace},  {EROFS, FileErrorCode::writeVolumeReadOnly},
        {EEXIST, FileErrorCode::writeFileExists},  {ENAMETOOLONG, FileErrorCode::writeInvalidName},
        {ELOOP, FileErrorCode::notRegularFile},    {EFBIG, FileErrorCode::writeUnknown},
        {EIO, FileErrorCode::writeUnknown},        {EISDIR, FileErrorCode::writeUnknown},
        {ENOTDIR, FileErrorCode::writeUnknown},    {EBADF, FileErrorCode::writeUnknown},
        {ERANGE, FileErrorCode::writeUnknown},     {0, FileErrorCode::writeUnknown},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::strerror(row.errorNumber));
        expectPlatformError(row.code, [&row] { throwWriteError(row.errorNumber); });
    }
}

std::string descriptionOf(void (*thrower)(int), int errorNumber) {
    try {
        thrower(errorNumber);
    } catch (const PlatformError& error) {
        return error.what();
    }
    return {};
}

// The words that end a download must not come in through the words of the system.
TEST(PosixErrorTest, DescriptionsAreOursWhateverTheSystemSays) {
    constexpr int beyondAllNumbers = 4'100;
    for (int errorNumber = 0; errorNumber < beyondAllNumbers; ++errorNumber) {
        for (const auto thrower : {throwReadError, throwWriteError}) {
            const std::string description = descriptionOf(thrower, errorNumber);
            EXPECT_TRUE(description.starts_with("The ") || description.starts_with("There ") ||
                        description.starts_with("A file "))
                << description;
            EXPECT_EQ(description.find(std::strerror(errorNumber)), std::string::npos) << description;
            for (const char* final : {"hash mismatch", "HTTP 4", "range", "Untrusted"}) {
                EXPECT_EQ(description.find(final), std::string::npos) << description;
            }
        }
    }
}

TEST(PosixErrorTest, EachCodeHasItsOneDescription) {
    const struct {
        FileErrorCode code;
        int number;
        const char* description;
    } rows[] = {
        {FileErrorCode::noSuchFile, 4, "The file does not exist."},
        {FileErrorCode::readUnknown, 256, "The file could not be read."},
        {FileErrorCode::readNoPermission, 257, "There is no permission to read the file."},
        {FileErrorCode::readNoSuchFile, 260, "The file to be read does not exist."},
        {FileErrorCode::readNotText, 261, "The file is not text in UTF-8."},
        {FileErrorCode::readTooLarge, 263, "The file is too large to be read."},
        {FileErrorCode::writeUnknown, 512, "The file could not be written."},
        {FileErrorCode::writeNoPermission, 513, "There is no permission to write the file."},
        {FileErrorCode::writeInvalidName, 514, "The name of the file cannot be used."},
        {FileErrorCode::writeFileExists, 516, "A file of the same name exists."},
        {FileErrorCode::writeOutOfSpace, 640, "There is not enough free space to write the file."},
        {FileErrorCode::writeVolumeReadOnly, 642, "The volume of the file is read-only."},
        {FileErrorCode::notRegularFile, -1, "The entry is not a regular file."},
    };

    for (const auto& row : rows) {
        const PlatformError error(row.code);
        EXPECT_EQ(error.domain(), ErrorDomain::file);
        EXPECT_EQ(error.code(), row.number);
        EXPECT_STREQ(error.what(), row.description);
    }
}

} // namespace

} // namespace InstallerCore
