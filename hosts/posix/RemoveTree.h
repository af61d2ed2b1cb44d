#pragma once

#include <string>

namespace InstallerCore {

// Removes the entry of the directory with all that is in it; a link is removed, not followed, and a directory
// that a volume is mounted on stays as it is, which is a failure. Neither descriptors nor stack grow with the
// depth of the tree. Permissions that are in the way are given to its directories, which need be the
// caller's own. Returns 0, or -1 with errno of the first failure; what went before that is gone.
[[nodiscard]] int removeTree(int directory, const std::string& name);

} // namespace InstallerCore
