#pragma once

namespace InstallerCore {

// Everything that the installer says to the user; what it says in which language is not known here.
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
    retry,
};

} // namespace InstallerCore
