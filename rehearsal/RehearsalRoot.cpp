#include "rehearsal/RehearsalRoot.h"

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

void put(const fs::path& tool, const fs::path& place) {
    fs::copy_file(tool, place, fs::copy_options::overwrite_existing);
}

} // namespace

void RehearsalRoot::install() const {
    for (const fs::path& part :
         {applications(), home(), directory_ / "Volumes", directory_ / "usr/bin", directory_ / "usr/sbin"}) {
        fs::create_directories(part);
    }
    put(HDIUTIL, paths().hdiutil);
    put(DITTO, paths().ditto);
    put(SPCTL, paths().spctl);
}

SystemPaths RehearsalRoot::paths() const {
    return {.hdiutil = directory_ / "usr/bin/hdiutil",
            .ditto = directory_ / "usr/bin/ditto",
            .spctl = directory_ / "usr/sbin/spctl",
            .volumes = directory_ / "Volumes"};
}

} // namespace InstallerCore::Rehearsal
