#pragma once

#include <filesystem>
#include <string>

namespace InstallerCore::Rehearsal {

// One text for a whole tree: the names, types, permissions, link texts and contents of all entries, dates
// left out. Two trees are alike exactly when their texts are. Throws when anything cannot be read.
[[nodiscard]] std::string treeDigest(const std::filesystem::path& tree);

} // namespace InstallerCore::Rehearsal
