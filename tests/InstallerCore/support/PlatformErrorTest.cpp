#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

#include <set>

namespace InstallerCore {

namespace {

struct NumberedError {
    PlatformError error;
    ErrorDomain domain;
    int number;
};

const std::vector<NumberedError>& allFixedErrors() {
    static const std::vector<NumberedError> errors = {
        {PlatformError(UrlErrorCode::unknown), ErrorDomain::urlLoading, -1},
        {PlatformError(UrlErrorCode::cancelled), ErrorDomain::urlLoading, -999},
        {PlatformError(UrlErrorCode::timedOut), ErrorDomain::urlLoading, -1001},
        {PlatformError(UrlErrorCode::cannotFindHost), ErrorDomain::urlLoading, -1003},
        {PlatformError(UrlErrorCode::cannotConnect), ErrorDomain::urlLoading, -1004},
        {PlatformError(UrlErrorCode::connectionLost), ErrorDomain::urlLoading, -1005},
        {PlatformError(UrlErrorCode::tooManyRedirects), ErrorDomain::urlLoading, -1007},
        {PlatformError(UrlErrorCode::badServerResponse), ErrorDomain::urlLoading, -1011},
        {PlatformError(UrlErrorCode::secureConnectionFailed), ErrorDomain::urlLoading, -1200},
        {PlatformError(UrlErrorCode::certificateRejected), ErrorDomain::urlLoading, -1202},
        {PlatformError(FileErrorCode::noSuchFile), ErrorDomain::file, 4},
        {PlatformError(FileErrorCode::readUnknown), ErrorDomain::file, 256},
        {PlatformError(FileErrorCode::readNoPermission), ErrorDomain::file, 257},
        {PlatformError(FileErrorCode::readNoSuchFile), ErrorDomain::file, 260},
        {PlatformError(FileErrorCode::readNotText), ErrorDomain::file, 261},
        {PlatformError(FileErrorCode::readTooLarge), ErrorDomain::file, 263},
        {PlatformError(FileErrorCode::writeUnknown), ErrorDomain::file, 512},
        {PlatformError(FileErrorCode::writeNoPermission), ErrorDomain::file, 513},
        {PlatformError(FileErrorCode::writeInvalidName), ErrorDomain::file, 514},
        {PlatformError(FileErrorCode::writeFileExists), ErrorDomain::file, 516},
        {PlatformError(FileErrorCode::writeOutOfSpace), ErrorDomain::file, 640},
        {PlatformError(FileErrorCode::writeVolumeReadOnly), ErrorDomain::file, 642},
        {PlatformError(FileErrorCode::notRegularFile), ErrorDomain::file, -1},
        {PlatformError(PropertyListErrorCode::corrupt), ErrorDomain::propertyList, 3840},
        {PlatformError(ProcessErrorCode::cannotLaunch), ErrorDomain::processLaunch, 1},
        {PlatformError(ProcessErrorCode::noSuchExecutable), ErrorDomain::processLaunch, 2},
        {PlatformError(ProcessErrorCode::notExecutable), ErrorDomain::processLaunch, 3},
    };
    return errors;
}

TEST(PlatformErrorTest, CodesAreNumberedWithinTheirDomain) {
    for (const auto& [error, domain, number] : allFixedErrors()) {
        EXPECT_EQ(error.domain(), domain) << error.what();
        EXPECT_EQ(error.code(), number) << error.what();
    }
}

TEST(PlatformErrorTest, EveryCodeHasADescriptionOfItsOwn) {
    std::set<std::string> descriptions;
    for (const NumberedError& each : allFixedErrors()) {
        const std::string description = each.error.what();
        EXPECT_FALSE(description.empty()) << each.number;
        EXPECT_TRUE(descriptions.insert(description).second) << description;
    }
}

// The downloader gives up where a description holds one of these.
TEST(PlatformErrorTest, NoDescriptionEndsADownload) {
    for (const NumberedError& each : allFixedErrors()) {
        const std::string_view description = each.error.what();
        for (const std::string_view mark : {"hash mismatch", "HTTP 4", "range", "Untrusted"}) {
            EXPECT_EQ(description.find(mark), std::string_view::npos) << description;
        }
    }
}

TEST(PlatformErrorTest, TwoCodesMeanThatThereIsNoSuchFile) {
    for (const NumberedError& each : allFixedErrors()) {
        const bool missing = each.domain == ErrorDomain::file && (each.number == 4 || each.number == 260);
        EXPECT_EQ(each.error.isNoSuchFile(), missing) << each.error.what();
    }
}

TEST(PlatformErrorTest, ACodeIsOfItsDomainOnly) {
    EXPECT_TRUE(PlatformError(FileErrorCode::notRegularFile).is(FileErrorCode::notRegularFile));
    EXPECT_FALSE(PlatformError(FileErrorCode::readUnknown).is(FileErrorCode::notRegularFile));
    EXPECT_FALSE(PlatformError(UrlErrorCode::unknown).is(FileErrorCode::notRegularFile)) << "the same number";
}

TEST(PlatformErrorTest, AJsonErrorSaysWhatItIsGiven) {
    const PlatformError error(JsonErrorCode::typeMismatch, "The value of \"size\" is not a 64-bit integer.");
    EXPECT_EQ(error.domain(), ErrorDomain::json);
    EXPECT_EQ(error.code(), 4864);
    EXPECT_STREQ(error.what(), "The value of \"size\" is not a 64-bit integer.");
    EXPECT_FALSE(error.isNoSuchFile());
    EXPECT_EQ(PlatformError(JsonErrorCode::keyNotFound, "").code(), 4865);
    EXPECT_EQ(PlatformError(JsonErrorCode::corrupt, "").code(), 3840);
}

TEST(PlatformErrorTest, ACopySaysTheSame) {
    const auto original = std::make_unique<PlatformError>(FileErrorCode::readUnknown);
    const PlatformError copy = *original;
    EXPECT_STREQ(copy.what(), original->what());
}

} // namespace

} // namespace InstallerCore
