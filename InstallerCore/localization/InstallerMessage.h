#pragma once

#include <array>
#include <string_view>

namespace InstallerCore {

// Everything that the installer says to the user.
enum class InstallerMessage {
    checking,
    downloading,
    verifying,
    installing,
    installed,
    opening,
    saving,
    paused,
    network_error,
    disk_error,
    permission_error,
    verification_error,
    unsupported_error,
    running_error,
    launch_error,
    generic_error,
    retry, // the label of the button
};

// All of them, in their order.
inline constexpr std::array allInstallerMessages{
    InstallerMessage::checking,
    InstallerMessage::downloading,
    InstallerMessage::verifying,
    InstallerMessage::installing,
    InstallerMessage::installed,
    InstallerMessage::opening,
    InstallerMessage::saving,
    InstallerMessage::paused,
    InstallerMessage::network_error,
    InstallerMessage::disk_error,
    InstallerMessage::permission_error,
    InstallerMessage::verification_error,
    InstallerMessage::unsupported_error,
    InstallerMessage::running_error,
    InstallerMessage::launch_error,
    InstallerMessage::generic_error,
    InstallerMessage::retry,
};

// The name that the message has in catalogs of translations.
[[nodiscard]] std::string_view catalogKey(InstallerMessage message);

// What it says where no catalog says it.
[[nodiscard]] std::string_view englishText(InstallerMessage message);

} // namespace InstallerCore
