#pragma once

#include "InstallerCore/platform/Digests.h"

namespace InstallerCore {

class DigestsCommonCrypto final : public Digests {
public:
    [[nodiscard]] std::unique_ptr<Sha512> sha512() const override;
};

} // namespace InstallerCore
