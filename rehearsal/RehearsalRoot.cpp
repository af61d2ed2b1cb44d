#include "rehearsal/RehearsalRoot.h"

#include <fstream>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

// Until there is one that knows the rules: accepts what was found to be signed just before.
constexpr const char* policyTool = "#!/bin/sh\nexit 0\n";

void install(const fs::path& tool, const fs::path& place) {
    fs::copy_file(tool, place, fs::copy_options::overwrite_existing);
}

} // namespace

RehearsalRoot::RehearsalRoot(fs::path directory) : directory_(std::move(directory)) {
    for (const fs::path& part :
         {applications(), home(), directory_ / "Volumes", directory_ / "usr/bin", directory_ / "usr/sbin"}) {
        fs::create_directories(part);
    }
    install(HDIUTIL, paths().hdiutil);
    install(DITTO, paths().ditto);
    std::ofstream(paths().spctl) << policyTool;
    fs::permissions(paths().spctl, fs::perms::owner_all);
}

SystemPaths RehearsalRoot::paths() const {
    return {.hdiutil = directory_ / "usr/bin/hdiutil",
            .ditto = directory_ / "usr/bin/ditto",
            .spctl = directory_ / "usr/sbin/spctl",
            .volumes = directory_ / "Volumes"};
}

} // namespace InstallerCore::Rehearsal
