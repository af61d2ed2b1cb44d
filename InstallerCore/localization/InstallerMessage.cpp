#include "InstallerCore/localization/InstallerMessage.h"

#include <cstddef>

namespace InstallerCore {

namespace {

struct Entry {
    constexpr Entry(InstallerMessage named, std::string_view catalogKey, std::string_view text)
        : message(named), key(catalogKey), english(text) {}

    InstallerMessage message;
    std::string_view key;
    std::string_view english;
};

using enum InstallerMessage;

constexpr std::array entries{
    Entry{checking, "desktop_installer_checking", "Checking release…"},
    Entry{downloading, "desktop_installer_downloading", "Downloading Kavio…"},
    Entry{verifying, "desktop_installer_verifying", "Verifying application…"},
    Entry{installing, "desktop_installer_installing", "Installing Kavio…"},
    Entry{installed, "desktop_installer_installed", "Kavio is installed."},
    Entry{opening, "desktop_installer_opening", "Opening Kavio…"},
    Entry{saving, "desktop_installer_saving", "Saving download progress…"},
    Entry{paused, "desktop_installer_paused", "Download paused."},
    Entry{network_error, "desktop_installer_network_error",
          "Unable to download Kavio. Check your connection and retry."},
    Entry{disk_error, "desktop_installer_disk_error", "Not enough disk space. Free up space and retry."},
    Entry{permission_error, "desktop_installer_permission_error",
          "Unable to write to Applications. Check folder permissions and retry."},
    Entry{verification_error, "desktop_installer_verification_error",
          "Unable to verify the installer or application. Download the installer again."},
    Entry{unsupported_error, "desktop_installer_unsupported_error",
          "This Mac or macOS version is not supported."},
    Entry{running_error, "desktop_installer_running_error",
          "Kavio is running. Save your work and quit Kavio, then click Retry to continue installing."},
    Entry{launch_error, "desktop_installer_launch_error", "Unable to open Kavio. Please retry."},
    Entry{generic_error, "desktop_installer_generic_error", "Unable to continue. Please retry."},
    Entry{retry, "common_retry", "Retry"},
};

// An entry stands where its message says, and no message is left out.
constexpr bool entriesAreInOrder() {
    if (entries.size() != allInstallerMessages.size()) {
        return false;
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (static_cast<std::size_t>(entries.at(i).message) != i ||
            entries.at(i).message != allInstallerMessages.at(i)) {
            return false;
        }
    }
    return true;
}

static_assert(entriesAreInOrder());

const Entry& entryOf(InstallerMessage message) {
    return entries.at(static_cast<std::size_t>(message));
}

} // namespace

std::string_view catalogKey(InstallerMessage message) {
    return entryOf(message).key;
}

std::string_view englishText(InstallerMessage message) {
    return entryOf(message).english;
}

} // namespace InstallerCore
