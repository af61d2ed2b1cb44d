#pragma once

#include "hosts/linux/diskimage/MountRecord.h"

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore {

// The property lists that the tool prints, as XML. Every text is valid UTF-8 of characters that XML can
// carry; mount points are in the volumes directory.

// {system-entities}
[[nodiscard]] std::string attachedTable(const MountRecord& record, const std::filesystem::path& volumes);

// {framework, images: {image-path, image-type, writeable, blockcount, blocksize, system-entities ...}}
[[nodiscard]] std::string imageTable(const std::vector<MountRecord>& records,
                                     const std::filesystem::path& volumes);

// Whether the text can stand in one of them.
[[nodiscard]] bool isPrintable(std::string_view text);

} // namespace InstallerCore
