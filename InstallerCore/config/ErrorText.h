#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Every text that the core and the shell raise or write to the system log. Each stands here and nowhere else:
// they are matched by text when a retry is decided and when the user's message is chosen, so a second
// spelling would be a second meaning.
namespace InstallerCore::ErrorText {

// Configuration and versions
inline constexpr std::string_view untrustedDownloadURL = "Untrusted download URL";
inline constexpr std::string_view invalidVersion = "Invalid version";

// Release feed and artifact choice
inline constexpr std::string_view manifestTooLarge = "Manifest too large";
inline constexpr std::string_view invalidFeedEncoding = "Invalid feed encoding";
inline constexpr std::string_view missingReleaseVersion = "Missing release version";
inline constexpr std::string_view invalidFeedField = "Invalid feed field";
inline constexpr std::string_view duplicateFeedField = "Duplicate feed field";
inline constexpr std::string_view unsupportedFilesList = "Unsupported files list";
inline constexpr std::string_view invalidFilesList = "Invalid files list";
inline constexpr std::string_view invalidDownloadURL = "Invalid download URL";
inline constexpr std::string_view invalidArtifactSizeOrHash = "Invalid artifact size or hash";
inline constexpr std::string_view artifactVersionMismatch = "Artifact version mismatch";
inline constexpr std::string_view duplicateReleaseTarget = "Duplicate release target";
inline constexpr std::string_view noCompatibleArtifacts = "No compatible release artifacts";
inline constexpr std::string_view invalidScalar = "Invalid YAML scalar";
inline constexpr std::string_view unsupportedScalar = "Unsupported YAML scalar";
inline constexpr std::string_view unsupportedMac = "This Mac is not supported by this release";

// Download
inline constexpr std::string_view paused = "Download paused. Open the installer again to resume.";
inline constexpr std::string_view invalidContentRange = "Invalid Content-Range";
inline constexpr std::string_view invalidRangeEnd = "Invalid range end";
inline constexpr std::string_view incompleteResponseRange = "Incomplete response range";
inline constexpr std::string_view invalidHttpResponse = "Invalid HTTP response";
inline constexpr std::string_view exceedsExpectedSize = "Download exceeds expected size";
inline constexpr std::string_view incompleteDownload = "Incomplete download";
inline constexpr std::string_view unsafeCacheFile = "Unsafe cache file";
inline constexpr std::string_view hashMismatch = "Downloaded file hash mismatch";
inline constexpr std::string_view downloadFailed = "Download failed";
inline constexpr std::string_view unsafeCacheDirectory = "Unsafe cache directory";

// Disk images and executables
inline constexpr std::string_view cannotMountPackage = "Cannot mount application package";
inline constexpr std::string_view invalidMachOHeader = "Invalid Mach-O header";
inline constexpr std::string_view unsupportedMachOFormat = "Unsupported Mach-O format";
inline constexpr std::string_view invalidMachOCount = "Invalid Mach-O architecture count";

// Application verification
inline constexpr std::string_view missingIdentity = "Missing application identity or version";
inline constexpr std::string_view invalidBundle = "Invalid application bundle";
inline constexpr std::string_view invalidRequirement = "Invalid signing requirement";
inline constexpr std::string_view signatureMismatch = "Application signature or publisher mismatch";
inline constexpr std::string_view identityMismatch = "Application identity mismatch";
inline constexpr std::string_view versionMismatch = "Application version mismatch";
inline constexpr std::string_view architectureMismatch = "Application architecture mismatch";
inline constexpr std::string_view invalidMinimumSystem = "Invalid minimum macOS version";
inline constexpr std::string_view unsupportedSystem = "This macOS version is not supported";
inline constexpr std::string_view applicationRunning =
    "Close Kavio after saving your work, then retry. Recordings will not be interrupted.";

// Installation transaction and recovery
inline constexpr std::string_view unrelatedApplication = "An unrelated application occupies Kavio.app";
inline constexpr std::string_view notEnoughSpace = "Not enough disk space";
inline constexpr std::string_view cannotReadSpace = "Cannot read available disk space";
inline constexpr std::string_view applicationsNotWritable =
    "Applications is not writable. Check folder permissions or use the full DMG";
inline constexpr std::string_view packageChanged = "Package changed before installation";
inline constexpr std::string_view unexpectedLink = "Unexpected application link";
inline constexpr std::string_view cannotInspectSize = "Cannot inspect application size";
inline constexpr std::string_view invalidJournal = "Invalid installation journal";
inline constexpr std::string_view missingTransactionVersion = "Missing transaction version";
inline constexpr std::string_view unknownPhase = "Unknown installation phase";
inline constexpr std::string_view unsafeRecoveryDirectory = "Unsafe recovery directory";
inline constexpr std::string_view unsafeRecoveryBackup = "Unsafe recovery backup";

// Event log and single instance
inline constexpr std::string_view unsafeEventLog = "Unsafe event log";
inline constexpr std::string_view eventNotPersisted = "Installer event could not be persisted";
inline constexpr std::string_view alreadyRunning = "Another Kavio installer is already running";

// Composed texts: plain concatenation, integers in plain decimal.
[[nodiscard]] std::string httpStatus(int status);
[[nodiscard]] std::string invalidResumedRange(std::int64_t expectedOffset, std::int64_t expectedTotal,
                                              std::string_view received);
[[nodiscard]] std::string toolFailed(std::string_view tool, int exitStatus);

// System log lines; each takes the localized description of the error concerned.
[[nodiscard]] std::string startupFailed(std::string_view description);
[[nodiscard]] std::string installerFailed(std::string_view description);
[[nodiscard]] std::string launchFailed(std::string_view description);
[[nodiscard]] std::string cacheCleanupDeferred(std::string_view description);
[[nodiscard]] std::string pendingCleanupDeferred(std::string_view description);
[[nodiscard]] std::string unableToDetach(std::string_view description);
[[nodiscard]] std::string ejectionDeferred(std::string_view description);

// What support needs to know when recovery leaves a staging directory as it is.
struct RefusedRecovery {
    std::string_view directory;
    std::string_view phase;
    std::string_view version; // that was being installed
    std::string_view installedVersion;
    std::string_view reason;
};

[[nodiscard]] std::string recoveryRefused(const RefusedRecovery& refused);

} // namespace InstallerCore::ErrorText
