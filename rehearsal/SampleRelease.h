#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Platform.h"
#include "rehearsal/SampleApplication.h"

#include <filesystem>

namespace InstallerCore::Rehearsal {

// Writes a release below the document root, where the configuration's channel will look for it: a disk image
// of the signed sample application for each architecture, and the feed that describes them. Failures are
// std::runtime_errors.
void writeSampleRelease(const Config& config, SampleApplicationOptions application,
                        const std::filesystem::path& documentRoot, const Platform& platform);

} // namespace InstallerCore::Rehearsal
