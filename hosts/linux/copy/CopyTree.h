#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace InstallerCore {

// Copies a directory with all that is in it, a file or a symbolic link itself to a name that is not taken, in
// a directory that exists.
//
// The copy has the types, contents, holes, hard links, texts of links, extended attributes, access control
// lists, modes and times of the source, and its owners where the process may; see AttributeCopier. No link is
// followed below the source's parent and from the destination's parent on, and nothing that exists is written
// to. Copies are the owner's only until they are complete. Neither descriptors nor stack grow with the size
// of the tree.
//
// Throws CopyError when something cannot be copied, is a device, a socket or a FIFO, or changes meanwhile.
// What was copied by then stays: it is in the caller's directory, who removes it. Nothing is flushed to disk.
// The log gets at most one line, from any thread. The process's file mode mask must leave owners their
// rights.
void copyTree(const std::filesystem::path& source, const std::filesystem::path& destination,
              const std::function<void(const std::string& line)>& log);

} // namespace InstallerCore
