#include "InstallerCore/download/Cancellation.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"

namespace InstallerCore {

void Cancellation::cancel() {
    const std::lock_guard guard(lock_);
    cancelled_ = true;
}

bool Cancellation::isCancelled() const {
    const std::lock_guard guard(lock_);
    return cancelled_;
}

void Cancellation::check() const {
    require(!isCancelled(), ErrorText::paused);
}

} // namespace InstallerCore
