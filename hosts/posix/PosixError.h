#pragma once

namespace InstallerCore {

// The one place where errno becomes a PlatformError of the file domain. Whether something was being read or
// written decides between the two families of codes.

[[noreturn]] void throwReadError(int errorNumber);
[[noreturn]] void throwWriteError(int errorNumber);

} // namespace InstallerCore
