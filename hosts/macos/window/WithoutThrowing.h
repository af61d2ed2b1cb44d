#pragma once

namespace InstallerCore {

// For what the system's frameworks call: an exception does not pass through their frames, it ends the program
// here.
template <typename Work>
decltype(auto) withoutThrowing(const Work& work) noexcept {
    return work();
}

} // namespace InstallerCore
