#pragma once

#include "InstallerCore/platform/Workspace.h"

#include <functional>
#include <set>
#include <string>

namespace InstallerCore::Testing {

// Knows what a test says is running.
class FakeWorkspace final : public Workspace {
public:
    [[nodiscard]] bool isRunning(const std::string& bundleIdentifier) const override {
        if (onLook) {
            onLook();
        }
        return running.contains(bundleIdentifier);
    }

    std::set<std::string> running;
    std::function<void()> onLook; // before each answer
};

} // namespace InstallerCore::Testing
