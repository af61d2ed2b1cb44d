#pragma once

#include <filesystem>
#include <string>

namespace InstallerCore::Rehearsal {

// Makes a file that is one bare HFS+ volume of that name with what the directory holds. Modes, symbolic links
// and times of modification are kept and links never followed; everything belongs to root, extended
// attributes are left out, and a file with two names in the tree is refused. The same tree gives the same
// bytes, whoever owns it. Works through xorriso, beside the volume, in a file of about the same size that
// goes again. Every failure is a std::runtime_error and leaves no volume.
void makeHfsVolume(const std::filesystem::path& directory, const std::string& volumeName,
                   const std::filesystem::path& volume);

} // namespace InstallerCore::Rehearsal
