#include "InstallerCore/platform/Platform.h"

#include <atomic>
#include <cstdlib>

namespace InstallerCore {

namespace {

std::atomic<const Platform*> chosenHost = nullptr;

} // namespace

const Platform& Platform::host() {
    const Platform* platform = chosenHost.load();
    if (platform == nullptr) {
        std::abort();
    }
    return *platform;
}

void Platform::setHost(const Platform& platform) {
    if (chosenHost.exchange(&platform) != nullptr) {
        std::abort();
    }
}

} // namespace InstallerCore
