#include "hosts/shared/FoundationErrorCodes.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace InstallerCore {

namespace {

TEST(FoundationErrorCodesTest, CodesOfAddressesHaveTheirMeaning) {
    const std::pair<std::int64_t, UrlErrorCode> cases[] = {
        {-999, UrlErrorCode::cancelled},
        {-1001, UrlErrorCode::timedOut},
        {-1003, UrlErrorCode::cannotFindHost},
        {-1006, UrlErrorCode::cannotFindHost},
        {-1004, UrlErrorCode::cannotConnect},
        {-1009, UrlErrorCode::cannotConnect},
        {-1018, UrlErrorCode::cannotConnect},
        {-1019, UrlErrorCode::cannotConnect},
        {-1020, UrlErrorCode::cannotConnect},
        {-1005, UrlErrorCode::connectionLost},
        {-1007, UrlErrorCode::tooManyRedirects},
        {-1002, UrlErrorCode::badServerResponse},
        {-1010, UrlErrorCode::badServerResponse},
        {-1011, UrlErrorCode::badServerResponse},
        {-1014, UrlErrorCode::badServerResponse},
        {-1015, UrlErrorCode::badServerResponse},
        {-1016, UrlErrorCode::badServerResponse},
        {-1017, UrlErrorCode::badServerResponse},
        {-1103, UrlErrorCode::badServerResponse},
        {-1022, UrlErrorCode::secureConnectionFailed},
        {-1200, UrlErrorCode::secureConnectionFailed},
        {-1205, UrlErrorCode::secureConnectionFailed},
        {-1206, UrlErrorCode::secureConnectionFailed},
        {-1201, UrlErrorCode::certificateRejected},
        {-1202, UrlErrorCode::certificateRejected},
        {-1203, UrlErrorCode::certificateRejected},
        {-1204, UrlErrorCode::certificateRejected},
        {-1, UrlErrorCode::unknown},
        {-1000, UrlErrorCode::unknown},
        {-3000, UrlErrorCode::unknown},
        {0, UrlErrorCode::unknown},
        {std::numeric_limits<std::int64_t>::min(), UrlErrorCode::unknown},
        {std::numeric_limits<std::int64_t>::max(), UrlErrorCode::unknown},
    };
    for (const auto& [code, expected] : cases) {
        EXPECT_EQ(urlErrorCodeOf(code), expected) << code;
    }
}

TEST(FoundationErrorCodesTest, CodesOfOursAreTheirOwn) {
    for (const UrlErrorCode code :
         {UrlErrorCode::unknown, UrlErrorCode::cancelled, UrlErrorCode::timedOut,
          UrlErrorCode::cannotFindHost, UrlErrorCode::cannotConnect, UrlErrorCode::connectionLost,
          UrlErrorCode::tooManyRedirects, UrlErrorCode::badServerResponse,
          UrlErrorCode::secureConnectionFailed, UrlErrorCode::certificateRejected}) {
        EXPECT_EQ(urlErrorCodeOf(static_cast<int>(code)), code);
    }
}

TEST(FoundationErrorCodesTest, CodesOfSocketsHaveTheirMeaning) {
    for (const int lost : {32, 53, 54, 57}) {
        EXPECT_EQ(urlErrorCodeOfErrno(lost), UrlErrorCode::connectionLost) << lost;
    }
    for (const int unreachable : {50, 51, 61, 64, 65}) {
        EXPECT_EQ(urlErrorCodeOfErrno(unreachable), UrlErrorCode::cannotConnect) << unreachable;
    }
    EXPECT_EQ(urlErrorCodeOfErrno(60), UrlErrorCode::timedOut);
    EXPECT_EQ(urlErrorCodeOfErrno(28), UrlErrorCode::unknown);
    EXPECT_EQ(urlErrorCodeOfErrno(0), UrlErrorCode::unknown);
}

TEST(FoundationErrorCodesTest, CodesOfFilesStay) {
    for (const FileErrorCode code :
         {FileErrorCode::noSuchFile, FileErrorCode::readUnknown, FileErrorCode::readNoPermission,
          FileErrorCode::readNoSuchFile, FileErrorCode::readNotText, FileErrorCode::readTooLarge,
          FileErrorCode::writeUnknown, FileErrorCode::writeNoPermission, FileErrorCode::writeInvalidName,
          FileErrorCode::writeFileExists, FileErrorCode::writeOutOfSpace,
          FileErrorCode::writeVolumeReadOnly}) {
        EXPECT_EQ(fileErrorCodeOf(static_cast<int>(code)), code);
    }
}

TEST(FoundationErrorCodesTest, OtherCodesOfFilesAreUnknownOnesOfTheirKind) {
    for (const int read : {0, 255, 258, 259, 262, 264, 511, 1024, 3840, -1}) {
        EXPECT_EQ(fileErrorCodeOf(read), FileErrorCode::readUnknown) << read;
    }
    for (const int write : {515, 517, 639, 641, 1023}) {
        EXPECT_EQ(fileErrorCodeOf(write), FileErrorCode::writeUnknown) << write;
    }
    EXPECT_EQ(fileErrorCodeOf(std::int64_t{1} << 32U | 640), FileErrorCode::readUnknown);
}

} // namespace

} // namespace InstallerCore
