#pragma once

#include <openssl/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// A server's certificate with its private key, both as PEM.
struct ServerCertificate {
    std::string certificate;
    std::string privateKey;
};

// When a certificate is valid, seen from the moment it is made.
struct Validity {
    std::chrono::seconds begin = std::chrono::hours(-1);
    std::chrono::seconds end = std::chrono::hours(24);
};

// A certificate authority for one run: made with the object and known to nobody who is not shown its
// certificate. Its key never leaves memory. Every failure is a std::runtime_error.
class CertificateAuthority {
public:
    CertificateAuthority();
    CertificateAuthority(const CertificateAuthority&) = delete;
    CertificateAuthority& operator=(const CertificateAuthority&) = delete;
    ~CertificateAuthority();

    // The root, as PEM.
    [[nodiscard]] const std::string& certificate() const noexcept { return certificate_; }

    // A fresh certificate for a server that answers under these DNS names.
    [[nodiscard]] ServerCertificate issue(const std::vector<std::string>& hosts,
                                          Validity validity = {}) const;

private:
    struct Deleter {
        void operator()(EVP_PKEY* key) const noexcept;
        void operator()(X509* certificate) const noexcept;
    };

    std::unique_ptr<EVP_PKEY, Deleter> key_;
    std::unique_ptr<X509, Deleter> root_;
    std::string certificate_;
};

// Writes the text to a file that only its owner can read.
void writePrivateFile(const std::filesystem::path& file, const std::string& text);

} // namespace InstallerCore::Rehearsal
