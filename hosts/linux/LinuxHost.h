#pragma once

#include "InstallerCore/platform/Platform.h"
#include "hosts/linux/DigestsOpenSsl.h"
#include "hosts/linux/HttpCurl.h"
#include "hosts/linux/SystemInfoLinux.h"
#include "hosts/linux/SystemLogSyslog.h"
#include "hosts/posix/ClockSystem.h"
#include "hosts/posix/FilesPosix.h"

namespace InstallerCore {

// The services of a Linux machine, for a main to own as long as the process lives.
class LinuxHost {
public:
    // Throws PlatformError when the current user has no home directory.
    LinuxHost() : files_(currentUsersHome()) {}

    LinuxHost(const LinuxHost&) = delete; // platform() refers to this very object
    LinuxHost& operator=(const LinuxHost&) = delete;

    [[nodiscard]] const Platform& platform() const noexcept { return platform_; }

private:
    HttpCurl http_;
    FilesPosix files_;
    DigestsOpenSsl digests_;
    ClockSystem clock_;
    SystemInfoLinux system_;
    SystemLogSyslog log_;
    Platform platform_{http_, files_, digests_, clock_, system_, log_};
};

} // namespace InstallerCore
