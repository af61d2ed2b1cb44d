#pragma once

#include "hosts/linux/codesign/BundleDirectory.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

// Where a bundle keeps what its signature is about.
struct BundleLayout {
    // Three kinds: an application's Contents, a framework's Versions/X, or the bundle itself.
    BundleDirectory base;       // what the seals are relative to
    Bytes infoPlist;            // the file, as it is
    std::string executablePath; // of the main executable, below the base
    std::shared_ptr<const MappedFile> executable;

    // A framework's versions beside the current one.
    std::vector<BundleDirectory> otherVersions;
};

// Whether anything at the top of the directory says that it is a bundle.
[[nodiscard]] bool looksLikeBundle(const BundleDirectory& directory);

// Finds the parts of the bundle, and refuses what strict validation refuses beside them: anything else at the
// top of an application, and anything but links into the current version at the top of a framework. Throws
// SignatureError.
[[nodiscard]] BundleLayout readBundleLayout(const BundleDirectory& bundle);

// The same for one version of a framework.
[[nodiscard]] BundleLayout readVersionLayout(const BundleDirectory& version);

} // namespace InstallerCore::CodeSign
