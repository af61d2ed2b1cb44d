#pragma once

#include "InstallerCore/platform/Platform.h"

#include <filesystem>
#include <string>

namespace InstallerCore {

// A disk image, mounted read-only for as long as this object lives. Blocks for the tool at both ends.
class AttachedImage {
public:
    // Throws InstallerError when the tool fails or names no mount point, and PlatformError when what it
    // printed is no property list; the image is not detached then, since nobody knows from where.
    AttachedImage(const std::filesystem::path& image, const Platform& platform);

    AttachedImage(const AttachedImage&) = delete;
    AttachedImage& operator=(const AttachedImage&) = delete;

    // A failure to detach goes to the system log.
    ~AttachedImage();

    [[nodiscard]] std::filesystem::path mountPoint() const { return mountPoint_; }

private:
    void detach() const;

    const Platform& platform_;
    std::string mountPoint_;
};

} // namespace InstallerCore
