#pragma once

#include "InstallerCore/platform/Platform.h"
#include "hosts/linux/DigestsOpenSsl.h"
#include "hosts/linux/HttpCurl.h"
#include "hosts/linux/LanguagesLinux.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/linux/ResourcesLinux.h"
#include "hosts/linux/SystemInfoLinux.h"
#include "hosts/linux/SystemLogSyslog.h"
#include "hosts/linux/WorkspaceProc.h"
#include "hosts/linux/codesign/CodeSigningLinux.h"
#include "hosts/posix/ClockSystem.h"
#include "hosts/posix/FilesPosix.h"
#include "hosts/posix/FoldersPosix.h"
#include "hosts/posix/ProcessesPosix.h"

namespace InstallerCore {

// The services of a Linux machine, for a main to own as long as the process lives.
class LinuxHost {
public:
    // For the user's own home. Throws PlatformError when the current user has none.
    LinuxHost() : LinuxHost(currentUsersHome()) {}

    // With the resources of the program, or those in another directory.
    explicit LinuxHost(std::filesystem::path home,
                       std::filesystem::path resources = ResourcesLinux::ofThisProgram())
        : files_(std::move(home)), resources_(std::move(resources)) {}

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
    FoldersPosix folders_;
    ProcessesPosix processes_;
    PropertyListsLibplist propertyLists_;
    CodeSigningLinux codeSigning_{CodeSign::TrustRoots::ofBuild(), clock_, log_};
    WorkspaceProc workspace_{files_, propertyLists_};
    LanguagesLinux languages_;
    ResourcesLinux resources_;
    Platform platform_{.http = http_,
                       .files = files_,
                       .digests = digests_,
                       .clock = clock_,
                       .system = system_,
                       .log = log_,
                       .folders = folders_,
                       .processes = processes_,
                       .propertyLists = propertyLists_,
                       .codeSigning = codeSigning_,
                       .workspace = workspace_,
                       .languages = languages_,
                       .resources = resources_};
};

} // namespace InstallerCore
