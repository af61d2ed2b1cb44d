#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace InstallerCore::Rehearsal {

// Writes the executable file of that name for those architectures ("arm64", "x64"), taken from the folders of
// these names in the directory: as it is for one, as a universal file for both. Throws std::runtime_error.
void writeExecutable(const std::filesystem::path& directory, const std::string& name,
                     const std::set<std::string>& architectures, const std::filesystem::path& file);

} // namespace InstallerCore::Rehearsal
