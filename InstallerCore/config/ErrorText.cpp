#include "InstallerCore/config/ErrorText.h"

namespace InstallerCore::ErrorText {

namespace {

std::string join(std::string_view prefix, std::string_view description) {
    return std::string(prefix).append(description);
}

} // namespace

std::string httpStatus(int status) {
    return "HTTP " + std::to_string(status);
}

std::string invalidResumedRange(std::int64_t expectedOffset, std::int64_t expectedTotal,
                                std::string_view received) {
    const std::string expected = "Invalid resumed range: expected offset " + std::to_string(expectedOffset) +
                                 ", total " + std::to_string(expectedTotal) + ", got ";
    return join(expected, received);
}

std::string toolFailed(std::string_view tool, int exitStatus) {
    return join("System verification or installation failed (", tool) + ": " + std::to_string(exitStatus) +
           ")";
}

std::string startupFailed(std::string_view description) {
    return join("Installer startup failed: ", description);
}

std::string installerFailed(std::string_view description) {
    return join("Installer failed: ", description);
}

std::string launchFailed(std::string_view description) {
    return join("Installer launch failed: ", description);
}

std::string cacheCleanupDeferred(std::string_view description) {
    return join("Installer download cache cleanup deferred: ", description);
}

std::string pendingCleanupDeferred(std::string_view description) {
    return join("Installer pending task cleanup deferred: ", description);
}

std::string unableToDetach(std::string_view description) {
    return join("Installer: unable to detach image: ", description);
}

std::string ejectionDeferred(std::string_view description) {
    return join("Installer disk image ejection deferred: ", description);
}

std::string recoveryRefused(const RefusedRecovery& refused) {
    return join("Installer recovery refused: ", refused.directory)
        .append(", phase ")
        .append(refused.phase)
        .append(", version ")
        .append(refused.version)
        .append(", installed ")
        .append(refused.installedVersion)
        .append(": ")
        .append(refused.reason);
}

} // namespace InstallerCore::ErrorText
