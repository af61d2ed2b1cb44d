#pragma once

#include <filesystem>
#include <string>

namespace InstallerCore::Rehearsal {

// Makes a file that is one bare HFS+ volume of that name with what the directory holds. Modes, owners, links
// and times of modification are kept and links never followed; hard links become files of their own and
// extended attributes are left out. The same tree gives the same bytes. Works through xorriso, beside the
// volume, in a file of about the same size that goes again. Every failure is a std::runtime_error and leaves
// no volume.
void makeHfsVolume(const std::filesystem::path& directory, const std::string& volumeName,
                   const std::filesystem::path& volume);

} // namespace InstallerCore::Rehearsal
