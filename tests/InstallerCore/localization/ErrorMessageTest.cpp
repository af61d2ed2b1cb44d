#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/localization/InstallerLocalization.h"
#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

namespace InstallerCore {

namespace {

using enum InstallerMessage;

InstallerMessage messageFor(const std::exception& error) {
    return InstallerLocalization::errorMessage(error);
}

InstallerMessage messageForText(std::string_view text) {
    return messageFor(InstallerError::message(text));
}

TEST(ErrorMessageTest, AnyErrorOfUrlLoadingIsOfTheNetwork) {
    for (const UrlErrorCode code :
         {UrlErrorCode::unknown, UrlErrorCode::cancelled, UrlErrorCode::timedOut,
          UrlErrorCode::cannotFindHost, UrlErrorCode::cannotConnect, UrlErrorCode::connectionLost,
          UrlErrorCode::tooManyRedirects, UrlErrorCode::badServerResponse,
          UrlErrorCode::secureConnectionFailed, UrlErrorCode::certificateRejected}) {
        EXPECT_EQ(messageFor(PlatformError(code)), network_error) << static_cast<int>(code);
    }
}

TEST(ErrorMessageTest, FileErrorsAreToldApartByCode) {
    const struct {
        FileErrorCode code;
        InstallerMessage message;
    } rows[] = {
        {FileErrorCode::writeOutOfSpace, disk_error},
        {FileErrorCode::readNoPermission, permission_error},
        {FileErrorCode::writeNoPermission, permission_error},
        {FileErrorCode::noSuchFile, generic_error},
        {FileErrorCode::readUnknown, generic_error},
        {FileErrorCode::readNoSuchFile, generic_error},
        {FileErrorCode::readNotText, generic_error},
        {FileErrorCode::readTooLarge, generic_error},
        {FileErrorCode::writeUnknown, generic_error},
        {FileErrorCode::writeInvalidName, generic_error},
        {FileErrorCode::writeFileExists, generic_error},
        {FileErrorCode::writeVolumeReadOnly, generic_error},
        {FileErrorCode::notRegularFile, generic_error},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(messageFor(PlatformError(row.code)), row.message) << static_cast<int>(row.code);
    }
}

TEST(ErrorMessageTest, OtherErrorsOfTheSystemAreGeneric) {
    EXPECT_EQ(messageFor(PlatformError(PropertyListErrorCode::corrupt)), generic_error);
    EXPECT_EQ(messageFor(PlatformError(ProcessErrorCode::cannotLaunch)), generic_error);
    EXPECT_EQ(messageFor(PlatformError(ProcessErrorCode::notExecutable)), generic_error);
}

TEST(ErrorMessageTest, WordsCountInOurOwnErrorsOnly) {
    EXPECT_EQ(messageFor(PlatformError(JsonErrorCode::corrupt, "HTTP 503: hash, signature, manifest")),
              generic_error);
    EXPECT_EQ(messageFor(std::runtime_error("HTTP 503")), generic_error);
    EXPECT_EQ(messageFor(std::runtime_error("Not enough disk space")), generic_error);
    EXPECT_EQ(messageFor(std::bad_alloc()), generic_error);
    EXPECT_EQ(messageFor(std::exception()), generic_error);
}

TEST(ErrorMessageTest, EveryTextThatIsRaisedHasItsMessage) {
    const struct {
        std::string text;
        InstallerMessage message;
    } rows[] = {
        {"Untrusted download URL", generic_error},
        {"Invalid version", generic_error},
        {"Manifest too large", verification_error},
        {"Invalid feed encoding", generic_error},
        {"Missing release version", generic_error},
        {"Invalid feed field", generic_error},
        {"Duplicate feed field", generic_error},
        {"Unsupported files list", generic_error},
        {"Invalid files list", generic_error},
        {"Invalid download URL", generic_error},
        {"Invalid artifact size or hash", verification_error},
        {"Artifact version mismatch", verification_error},
        {"Duplicate release target", generic_error},
        {"No compatible release artifacts", generic_error},
        {"Invalid YAML scalar", generic_error},
        {"Unsupported YAML scalar", generic_error},
        {"This Mac is not supported by this release", unsupported_error},
        {"Download paused. Open the installer again to resume.", paused},
        {"Invalid Content-Range", network_error},
        {"Invalid range end", network_error},
        {"Incomplete response range", network_error},
        {ErrorText::invalidResumedRange(10, 100, "bytes 0-99/100"), generic_error},
        {ErrorText::httpStatus(503), network_error},
        {"Invalid HTTP response", network_error},
        {"Download exceeds expected size", network_error},
        {"Incomplete download", network_error},
        {"Unsafe cache file", generic_error},
        {"Downloaded file hash mismatch", verification_error},
        {"Download failed", generic_error},
        {"Unsafe cache directory", generic_error},
        {ErrorText::toolFailed("hdiutil", 1), generic_error},
        {ErrorText::toolFailed("ditto", 1), generic_error},
        {ErrorText::toolFailed("spctl", 3), generic_error},
        {"Cannot mount application package", generic_error},
        {"Invalid Mach-O header", generic_error},
        {"Unsupported Mach-O format", generic_error},
        {"Invalid Mach-O architecture count", generic_error},
        {"Missing application identity or version", verification_error},
        {"Invalid application bundle", generic_error},
        {"Invalid signing requirement", generic_error},
        {"Application signature or publisher mismatch", verification_error},
        {"Application identity mismatch", verification_error},
        {"Application version mismatch", verification_error},
        {"Application architecture mismatch", verification_error},
        {"Invalid minimum macOS version", generic_error},
        {"This macOS version is not supported", unsupported_error},
        {"Close Kavio after saving your work, then retry. Recordings will not be interrupted.",
         running_error},
        {"An unrelated application occupies Kavio.app", generic_error},
        {"Not enough disk space", disk_error},
        {"Cannot read available disk space", generic_error},
        {"Applications is not writable. Check folder permissions or use the full DMG", permission_error},
        {"Package changed before installation", generic_error},
        {"Unexpected application link", generic_error},
        {"Cannot inspect application size", generic_error},
        {"Invalid installation journal", generic_error},
        {"Missing transaction version", generic_error},
        {"Unknown installation phase", generic_error},
        {"Unsafe recovery directory", generic_error},
        {"Unsafe recovery backup", generic_error},
        {"Unsafe event log", generic_error},
        {"Installer event could not be persisted", generic_error},
        {"Another Kavio installer is already running", generic_error},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(messageForText(row.text), row.message) << row.text;
    }
}

TEST(ErrorMessageTest, BeginningsLetTheTextGoOn) {
    EXPECT_EQ(messageForText("HTTP "), network_error);
    EXPECT_EQ(messageForText("HTTP 404 and the hash too"), network_error);
    EXPECT_EQ(messageForText("Applications is not writable"), permission_error);
    EXPECT_EQ(messageForText("Applications is not writable: manifest"), permission_error);
    EXPECT_EQ(messageForText("Close Kavio after saving"), running_error);
    EXPECT_EQ(messageForText("Close Kavio after saving its identity"), running_error);

    EXPECT_EQ(messageForText("HTTP"), generic_error);
    EXPECT_EQ(messageForText("http 404"), generic_error);
    EXPECT_EQ(messageForText(" HTTP 404"), generic_error);
    EXPECT_EQ(messageForText("The folder Applications is not writable"), generic_error);
    EXPECT_EQ(messageForText("applications is not writable"), generic_error);
    EXPECT_EQ(messageForText("Please Close Kavio after saving"), generic_error);
    EXPECT_EQ(messageForText("Close Kavio"), generic_error);
}

TEST(ErrorMessageTest, WholeTextsAreNothingElseWhenTheyGoOnOrDiffer) {
    for (const std::string text :
         {"Not enough disk space", "This macOS version is not supported",
          "This Mac is not supported by this release", "Download paused. Open the installer again to resume.",
          "Invalid HTTP response", "Incomplete download", "Incomplete response range",
          "Invalid Content-Range", "Invalid range end", "Download exceeds expected size"}) {
        EXPECT_NE(messageForText(text), generic_error) << text;
        EXPECT_EQ(messageForText(text + "."), generic_error) << text;
        EXPECT_EQ(messageForText(text + " at all"), generic_error) << text;
        EXPECT_EQ(messageForText(" " + text), generic_error) << text;
        std::string changed = text;
        changed.front() = 'x';
        EXPECT_EQ(messageForText(changed), generic_error) << text;
    }
}

TEST(ErrorMessageTest, VerificationKeywordsCountAnywhereInAnyLetterCase) {
    for (const std::string keyword :
         {"signature", "publisher", "identity", "hash", "version mismatch", "manifest", "signing key",
          "newer installer", "architecture mismatch"}) {
        EXPECT_EQ(messageForText(keyword), verification_error);
        EXPECT_EQ(messageForText("a " + keyword + " b"), verification_error);
        EXPECT_EQ(messageForText("x" + keyword + "y"), verification_error);
        std::string shout;
        for (const char c : keyword) {
            shout += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        }
        EXPECT_EQ(messageForText(shout), verification_error) << shout;
        EXPECT_EQ(messageForText(keyword.substr(1)), generic_error) << keyword;
        EXPECT_EQ(messageForText(keyword.substr(0, keyword.size() - 1)), generic_error) << keyword;
    }
    EXPECT_EQ(messageForText("version  mismatch"), generic_error);
}

TEST(ErrorMessageTest, EmptyTextIsGeneric) {
    EXPECT_EQ(messageForText(""), generic_error);
}

} // namespace

} // namespace InstallerCore
