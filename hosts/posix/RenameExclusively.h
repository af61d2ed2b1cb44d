#pragma once

namespace InstallerCore {

// renameat() that never replaces anything: 0, or -1 with errno, EEXIST when the new name is taken by
// whatever. On a file system that cannot promise this in one step, the look comes just before the rename.
[[nodiscard]] int renameExclusively(int fromDirectory, const char* from, int toDirectory, const char* to);

} // namespace InstallerCore
