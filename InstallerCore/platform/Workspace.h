#pragma once

#include <string>

namespace InstallerCore {

// The applications of this user's session. May be called from any thread.
class Workspace {
public:
    virtual ~Workspace() = default;

    // Whether any process other than this one runs from a bundle with the identifier, wherever that lies.
    // Throws PlatformError when that cannot be told.
    [[nodiscard]] virtual bool isRunning(const std::string& bundleIdentifier) const = 0;
};

} // namespace InstallerCore
