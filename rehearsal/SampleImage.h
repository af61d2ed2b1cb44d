#pragma once

#include "rehearsal/SampleApplication.h"
#include "rehearsal/UdifWriter.h"

#include <filesystem>
#include <functional>
#include <string>

namespace InstallerCore::Rehearsal {

struct SampleImageOptions {
    std::string volumeName = "Kavio";
    UdifOptions container;
    bool linkToApplications = true; // "Applications" beside the application

    // Called with the volume's directory once Kavio.app is complete: to sign it, to add to it, to spoil it.
    std::function<void(const std::filesystem::path&)> arrange;
};

// Packs the directory's content into a disk image with one HFS+ volume. What is written on the way lies
// beside the image and goes again. Reproducible; throws std::runtime_error and leaves no image then.
void packImage(const std::filesystem::path& directory, const std::filesystem::path& image,
               const SampleImageOptions& options = {});

// Makes the sample application and packs it.
void makeSampleImage(const SampleApplicationOptions& application, const std::filesystem::path& image,
                     const SampleImageOptions& options = {});

} // namespace InstallerCore::Rehearsal
