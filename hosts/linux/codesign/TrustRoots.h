#pragma once

#include "hosts/linux/codesign/Certificate.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore::CodeSign {

// The certificates that a chain may end in. Nothing else is ever trusted: not the system's store, not what a
// signature brings along. Never changes; any thread.
class TrustRoots {
public:
    // The certificates of a PEM text, at least one. Throws std::runtime_error for anything else.
    [[nodiscard]] static TrustRoots fromPem(std::string_view pem);

    // Apple Root CA, its G2 and its G3, known by their SHA-256 alone: a signature has to bring along the one
    // that it ends in, as those that Apple's tools make do. Stapled tickets do not.
    [[nodiscard]] static TrustRoots apple();

    // What this program was built to trust: the PEM file that KAVIO_TRUST_ROOTS names, or "apple".
    [[nodiscard]] static const TrustRoots& ofBuild();

    [[nodiscard]] bool contain(const Certificate& certificate) const;

    // Those that are at hand.
    [[nodiscard]] const std::vector<Certificate>& certificates() const noexcept { return certificates_; }

private:
    std::set<std::string> fingerprints_; // SHA-256 in hexadecimal digits
    std::vector<Certificate> certificates_;
};

} // namespace InstallerCore::CodeSign
