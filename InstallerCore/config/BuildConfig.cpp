#include "InstallerCore/config/BuildConfig.h"

#include "InstallerCore/support/Base64.h"

#include <cstdlib>
#include <utility>

namespace InstallerCore {

const Bytes& BuildConfig::json() {
    static const Bytes bytes = [] {
        auto decoded = decodeBase64(base64);
        if (!decoded) {
            std::abort();
        }
        return *std::move(decoded);
    }();
    return bytes;
}

} // namespace InstallerCore
