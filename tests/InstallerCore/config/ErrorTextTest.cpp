#include "InstallerCore/config/ErrorText.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace InstallerCore {

namespace {

struct Entry {
    std::string_view text;
    std::string_view exact;
};

// Every text that takes no argument.
constexpr Entry catalogue[] = {
    {ErrorText::untrustedDownloadURL, "Untrusted download URL"},
    {ErrorText::invalidVersion, "Invalid version"},
    {ErrorText::manifestTooLarge, "Manifest too large"},
    {ErrorText::invalidFeedEncoding, "Invalid feed encoding"},
    {ErrorText::missingReleaseVersion, "Missing release version"},
    {ErrorText::invalidFeedField, "Invalid feed field"},
    {ErrorText::duplicateFeedField, "Duplicate feed field"},
    {ErrorText::unsupportedFilesList, "Unsupported files list"},
    {ErrorText::invalidFilesList, "Invalid files list"},
    {ErrorText::invalidDownloadURL, "Invalid download URL"},
    {ErrorText::invalidArtifactSizeOrHash, "Invalid artifact size or hash"},
    {ErrorText::artifactVersionMismatch, "Artifact version mismatch"},
    {ErrorText::duplicateReleaseTarget, "Duplicate release target"},
    {ErrorText::noCompatibleArtifacts, "No compatible release artifacts"},
    {ErrorText::invalidScalar, "Invalid YAML scalar"},
    {ErrorText::unsupportedScalar, "Unsupported YAML scalar"},
    {ErrorText::unsupportedMac, "This Mac is not supported by this release"},
    {ErrorText::paused, "Download paused. Open the installer again to resume."},
    {ErrorText::invalidContentRange, "Invalid Content-Range"},
    {ErrorText::invalidRangeEnd, "Invalid range end"},
    {ErrorText::incompleteResponseRange, "Incomplete response range"},
    {ErrorText::invalidHttpResponse, "Invalid HTTP response"},
    {ErrorText::exceedsExpectedSize, "Download exceeds expected size"},
    {ErrorText::incompleteDownload, "Incomplete download"},
    {ErrorText::unsafeCacheFile, "Unsafe cache file"},
    {ErrorText::hashMismatch, "Downloaded file hash mismatch"},
    {ErrorText::downloadFailed, "Download failed"},
    {ErrorText::unsafeCacheDirectory, "Unsafe cache directory"},
    {ErrorText::cannotMountPackage, "Cannot mount application package"},
    {ErrorText::invalidMachOHeader, "Invalid Mach-O header"},
    {ErrorText::unsupportedMachOFormat, "Unsupported Mach-O format"},
    {ErrorText::invalidMachOCount, "Invalid Mach-O architecture count"},
    {ErrorText::missingIdentity, "Missing application identity or version"},
    {ErrorText::invalidBundle, "Invalid application bundle"},
    {ErrorText::invalidRequirement, "Invalid signing requirement"},
    {ErrorText::signatureMismatch, "Application signature or publisher mismatch"},
    {ErrorText::identityMismatch, "Application identity mismatch"},
    {ErrorText::versionMismatch, "Application version mismatch"},
    {ErrorText::architectureMismatch, "Application architecture mismatch"},
    {ErrorText::invalidMinimumSystem, "Invalid minimum macOS version"},
    {ErrorText::unsupportedSystem, "This macOS version is not supported"},
    {ErrorText::applicationRunning,
     "Close Kavio after saving your work, then retry. Recordings will not be interrupted."},
    {ErrorText::unrelatedApplication, "An unrelated application occupies Kavio.app"},
    {ErrorText::notEnoughSpace, "Not enough disk space"},
    {ErrorText::cannotReadSpace, "Cannot read available disk space"},
    {ErrorText::applicationsNotWritable,
     "Applications is not writable. Check folder permissions or use the full DMG"},
    {ErrorText::packageChanged, "Package changed before installation"},
    {ErrorText::unexpectedLink, "Unexpected application link"},
    {ErrorText::cannotInspectSize, "Cannot inspect application size"},
    {ErrorText::invalidJournal, "Invalid installation journal"},
    {ErrorText::missingTransactionVersion, "Missing transaction version"},
    {ErrorText::unknownPhase, "Unknown installation phase"},
    {ErrorText::unsafeRecoveryDirectory, "Unsafe recovery directory"},
    {ErrorText::unsafeRecoveryBackup, "Unsafe recovery backup"},
    {ErrorText::unsafeEventLog, "Unsafe event log"},
    {ErrorText::eventNotPersisted, "Installer event could not be persisted"},
    {ErrorText::alreadyRunning, "Another Kavio installer is already running"},
};

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(ErrorTextTest, EveryTextIsSpelledExactly) {
    for (const auto& [text, exact] : catalogue) {
        EXPECT_EQ(text, exact);
    }
}

TEST(ErrorTextTest, NoTwoTextsAreTheSame) {
    std::set<std::string_view> texts;
    for (const Entry& entry : catalogue) {
        EXPECT_TRUE(texts.insert(entry.text).second) << entry.text;
    }
}

TEST(ErrorTextTest, HttpStatusIsNamedByItsNumber) {
    EXPECT_EQ(ErrorText::httpStatus(404), "HTTP 404");
    EXPECT_EQ(ErrorText::httpStatus(416), "HTTP 416");
    EXPECT_EQ(ErrorText::httpStatus(0), "HTTP 0");
    EXPECT_EQ(ErrorText::httpStatus(-1), "HTTP -1");
    EXPECT_EQ(ErrorText::httpStatus(2147483647), "HTTP 2147483647");
}

TEST(ErrorTextTest, ResumedRangeNamesWhatWasExpectedAndReceived) {
    EXPECT_EQ(ErrorText::invalidResumedRange(1000, 5000, "bytes 0-4999/5000"),
              "Invalid resumed range: expected offset 1000, total 5000, got bytes 0-4999/5000");
    EXPECT_EQ(ErrorText::invalidResumedRange(0, 0, ""),
              "Invalid resumed range: expected offset 0, total 0, got ");
    EXPECT_EQ(
        ErrorText::invalidResumedRange(largest, smallest, "x"),
        "Invalid resumed range: expected offset 9223372036854775807, total -9223372036854775808, got x");
}

TEST(ErrorTextTest, FailedToolIsNamedWithItsStatus) {
    EXPECT_EQ(ErrorText::toolFailed("/usr/bin/hdiutil", 1),
              "System verification or installation failed (/usr/bin/hdiutil: 1)");
    EXPECT_EQ(ErrorText::toolFailed("ditto", -15), "System verification or installation failed (ditto: -15)");
    EXPECT_EQ(ErrorText::toolFailed("", 1000000), "System verification or installation failed (: 1000000)");
}

TEST(ErrorTextTest, LogLinesEndInTheDescription) {
    constexpr std::string_view description = "100 %@ %s.";
    EXPECT_EQ(ErrorText::startupFailed(description), "Installer startup failed: 100 %@ %s.");
    EXPECT_EQ(ErrorText::installerFailed(description), "Installer failed: 100 %@ %s.");
    EXPECT_EQ(ErrorText::launchFailed(description), "Installer launch failed: 100 %@ %s.");
    EXPECT_EQ(ErrorText::cacheCleanupDeferred(description),
              "Installer download cache cleanup deferred: 100 %@ %s.");
    EXPECT_EQ(ErrorText::pendingCleanupDeferred(description),
              "Installer pending task cleanup deferred: 100 %@ %s.");
    EXPECT_EQ(ErrorText::unableToDetach(description), "Installer: unable to detach image: 100 %@ %s.");
    EXPECT_EQ(ErrorText::ejectionDeferred(description), "Installer disk image ejection deferred: 100 %@ %s.");
    EXPECT_EQ(ErrorText::startupFailed(""), "Installer startup failed: ");
}

TEST(ErrorTextTest, RefusedRecoveryNamesAllThatSupportNeeds) {
    EXPECT_EQ(ErrorText::recoveryRefused({.directory = "/Applications/.kavio-install-X",
                                          .phase = "replacing",
                                          .version = "2.0.0",
                                          .installedVersion = "1.0.0",
                                          .reason = "Application version mismatch"}),
              "Installer recovery refused: /Applications/.kavio-install-X, phase replacing, version 2.0.0, "
              "installed 1.0.0: Application version mismatch");
}

} // namespace

} // namespace InstallerCore
