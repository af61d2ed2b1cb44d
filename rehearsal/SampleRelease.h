#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/platform/Platform.h"
#include "rehearsal/SampleApplication.h"

#include <filesystem>
#include <functional>

namespace InstallerCore::Rehearsal {

// Signs the application bundle that it is given.
using SampleSigner = std::function<void(const std::filesystem::path&)>;

// Writes a release below the document root, where the configuration's channel will look for it: a disk image
// of the sample application for each architecture, under the configured identifier and signed, and the feed
// that describes them. Failures are std::runtime_errors.
void writeSampleRelease(const Config& config, SampleApplicationOptions application,
                        const std::filesystem::path& documentRoot, const Platform& platform,
                        const SampleSigner& sign);

// The same with the signature that the configured product must have.
void writeSampleRelease(const Config& config, SampleApplicationOptions application,
                        const std::filesystem::path& documentRoot, const Platform& platform);

} // namespace InstallerCore::Rehearsal
