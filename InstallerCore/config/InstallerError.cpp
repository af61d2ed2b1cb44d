#include "InstallerCore/config/InstallerError.h"

namespace InstallerCore {

InstallerError InstallerError::message(std::string_view text) {
    return InstallerError(std::string(text));
}

void require(bool condition, std::string_view text) {
    if (!condition) {
        throw InstallerError::message(text);
    }
}

} // namespace InstallerCore
