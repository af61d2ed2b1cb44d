#pragma once

#include "hosts/linux/codesign/MappedFile.h"
#include "hosts/posix/Descriptor.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

enum class EntryKind { file, directory, link, other };

// A directory of a bundle, held open, so that what happens to its path does not matter. Names are single
// components and never followed. A cheap handle; any thread. Everything throws SignatureError that begins
// with the place, which is the path below the code that is verified.
class BundleDirectory {
public:
    // The directory at the path, which may be reached through links: it is what somebody asked about.
    // Absent when there is none.
    [[nodiscard]] static std::optional<BundleDirectory> open(const std::filesystem::path& path);

    // For messages: "" for the bundle itself, else ends in a slash.
    [[nodiscard]] const std::string& place() const noexcept { return place_; }

    [[nodiscard]] std::string place(const std::string& name) const { return place_ + name; }

    // Absent when there is no such entry.
    [[nodiscard]] std::optional<EntryKind> kind(const std::string& name) const;

    [[nodiscard]] BundleDirectory directory(const std::string& name) const;
    [[nodiscard]] std::shared_ptr<const MappedFile> file(const std::string& name) const;

    // A small file, whole; absent when there is no entry of that name.
    [[nodiscard]] std::optional<Bytes> content(const std::string& name) const;

    // The text of a link.
    [[nodiscard]] std::string target(const std::string& name) const;

    // All entries by name.
    [[nodiscard]] std::vector<std::string> names() const;

    // Bits of the permissions, as in st_mode.
    [[nodiscard]] unsigned mode(const std::string& name) const;

private:
    BundleDirectory(Descriptor directory, std::string place)
        : directory_(std::make_shared<Descriptor>(std::move(directory))), place_(std::move(place)) {}

    std::shared_ptr<const Descriptor> directory_;
    std::string place_;
};

} // namespace InstallerCore::CodeSign
