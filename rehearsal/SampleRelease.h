#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Digests.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace InstallerCore::Rehearsal {

// Writes a release below the document root, where the configuration's channel will look for it: one image for
// each architecture and the feed that describes them. The images are random bytes of the given size, the same
// on each call. Failures are std::runtime_errors.
void writeSampleRelease(const Config& config, const std::string& version, std::size_t imageSize,
                        const Digests& digests, const std::filesystem::path& documentRoot);

} // namespace InstallerCore::Rehearsal
