#pragma once

#include "InstallerCore/support/Bytes.h"

#include <openssl/types.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// The certificates of an identity. The root issues the three authorities, each authority its leaf.
enum class Role {
    root,
    authority, // issues Developer ID leaves
    leaf,      // signs code
    timeStampAuthority,
    timeStampLeaf,
    ticketAuthority,
    ticketLeaf,
};

inline constexpr std::size_t roleCount = 7;

// When a certificate is valid, seen from the moment it is made.
struct CertificatePeriod {
    std::chrono::seconds begin;
    std::chrono::seconds end;
};

// What is special about one certificate. The defaults make it what its role needs.
struct CertificateOptions {
    std::optional<CertificatePeriod> period; // absent: from a day ago, for years
    std::string commonName;                  // empty: the role's own
    bool marker = true;                      // the extension of Apple's that names the role
    bool extendedKeyUsage = true;            // of the two leaves that need one
    bool keyUsage = true;
    bool certificateAuthority = true; // false: an authority that may issue nothing
    // More extensions by dotted identifier, with the value NULL.
    std::vector<std::string> extensions;
    std::vector<std::string> criticalExtensions;
};

struct IdentityOptions {
    std::string team; // subject OU and UID of the leaf; empty: the team of the configured product
    CertificateOptions root;
    CertificateOptions authority;
    CertificateOptions leaf;
    CertificateOptions timeStampAuthority;
    CertificateOptions timeStampLeaf;
    CertificateOptions ticketAuthority;
    CertificateOptions ticketLeaf;
    bool leafIssuedByRoot = false;
};

// Seven keys and their certificates under a root of their own, which stand for Apple's authorities and for a
// developer known to them. RSA of 2048 bits, EC P-256 for tickets. A cheap handle that never changes; any
// thread. Every failure is a std::runtime_error.
class SigningIdentity {
public:
    // With fresh keys, which takes most of a second.
    [[nodiscard]] static SigningIdentity make(const IdentityOptions& options = {});

    // What saveTo() wrote.
    [[nodiscard]] static SigningIdentity load(const std::filesystem::path& directory);

    // The same keys and the same root (its options are not looked at), all other certificates made anew.
    [[nodiscard]] SigningIdentity reissued(const IdentityOptions& options) const;

    // Writes root.pem, which is public, and identity.pem with all keys and certificates, which only its owner
    // can read. The directory is made when missing.
    void saveTo(const std::filesystem::path& directory) const;

    [[nodiscard]] const std::string& rootPem() const noexcept { return rootPem_; }

    // The subject OU of the leaf.
    [[nodiscard]] const std::string& team() const noexcept { return team_; }

    // Both belong to the identity.
    [[nodiscard]] X509* certificate(Role role) const noexcept { return member(role).certificate.get(); }

    [[nodiscard]] EVP_PKEY* key(Role role) const noexcept { return member(role).key.get(); }

    // True when all certificates are valid from now on for at least that long.
    [[nodiscard]] bool isValidFor(std::chrono::seconds duration) const;

private:
    struct Member {
        std::shared_ptr<EVP_PKEY> key;
        std::shared_ptr<X509> certificate;
    };

    using Members = std::array<Member, roleCount>;

    explicit SigningIdentity(Members members);

    static void issue(Members& members, Role role, const IdentityOptions& options);

    [[nodiscard]] const Member& member(Role role) const noexcept {
        return members_.at(static_cast<std::size_t>(role));
    }

    Members members_;
    std::string rootPem_;
    std::string team_;
};

} // namespace InstallerCore::Rehearsal
