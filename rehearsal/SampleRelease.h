#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Platform.h"
#include "rehearsal/SampleApplication.h"

#include <filesystem>
#include <set>
#include <string>

namespace InstallerCore::Rehearsal {

// Writes a release below the document root, where the configuration's channel will look for it: a disk image
// of the sample application for each architecture, and the feed that describes them. Returns the digests of
// the applications (see TreeDigest.h). Failures are std::runtime_errors.
[[nodiscard]] std::set<std::string> writeSampleRelease(const Config& config,
                                                       SampleApplicationOptions application,
                                                       const std::filesystem::path& documentRoot,
                                                       const Platform& platform);

} // namespace InstallerCore::Rehearsal
