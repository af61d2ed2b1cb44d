#pragma once

#include "InstallerCore/platform/Platform.h"
#include "hosts/macos/CodeSigningSecurity.h"
#include "hosts/macos/DigestsCommonCrypto.h"
#include "hosts/macos/FoldersFoundation.h"
#include "hosts/macos/HttpUrlSession.h"
#include "hosts/macos/LanguagesFoundation.h"
#include "hosts/macos/PropertyListsFoundation.h"
#include "hosts/macos/ResourcesBundle.h"
#include "hosts/macos/SystemInfoMac.h"
#include "hosts/macos/SystemLogMac.h"
#include "hosts/macos/WorkspaceAppKit.h"
#include "hosts/posix/ClockSystem.h"
#include "hosts/posix/FilesPosix.h"
#include "hosts/posix/ProcessesPosix.h"

namespace InstallerCore {

// The services of a Mac, for a main to own as long as the process lives.
class MacHost {
public:
    // For the user's own home. Throws PlatformError when the current user has none.
    MacHost() : files_(currentUsersHome()) {}

    MacHost(const MacHost&) = delete; // platform() refers to this very object
    MacHost& operator=(const MacHost&) = delete;

    [[nodiscard]] const Platform& platform() const noexcept { return platform_; }

private:
    HttpUrlSession http_;
    FilesPosix files_;
    DigestsCommonCrypto digests_;
    ClockSystem clock_;
    SystemInfoMac system_;
    SystemLogMac log_;
    FoldersFoundation folders_;
    ProcessesPosix processes_;
    PropertyListsFoundation propertyLists_;
    CodeSigningSecurity codeSigning_;
    WorkspaceAppKit workspace_;
    LanguagesFoundation languages_;
    ResourcesBundle resources_;
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
