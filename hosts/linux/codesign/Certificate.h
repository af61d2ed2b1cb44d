#pragma once

#include "InstallerCore/support/Bytes.h"

#include <openssl/types.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore::CodeSign {

// Certificate extensions that Apple marks its certificates with.
namespace Marker {
inline constexpr const char* developerIdLeaf = "1.2.840.113635.100.6.1.13";
inline constexpr const char* developerIdAuthority = "1.2.840.113635.100.6.2.6";
inline constexpr const char* ticketLeaf = "1.2.840.113635.100.6.1.30";
inline constexpr const char* appleSoftwareLeaf = "1.2.840.113635.100.6.22";
} // namespace Marker

// An X.509 certificate. A cheap handle that never changes; any thread.
class Certificate {
public:
    // Shares the certificate, which must not be null.
    explicit Certificate(X509* certificate);

    // Exactly one DER certificate. Throws SignatureError.
    [[nodiscard]] static Certificate parse(ByteView der);

    [[nodiscard]] X509* get() const noexcept { return certificate_.get(); }

    [[nodiscard]] Bytes der() const;

    // SHA-256 of the DER form.
    [[nodiscard]] Bytes fingerprint() const;

    // The object identifier in dotted decimals; false for a text that is none.
    [[nodiscard]] bool hasExtension(const std::string& identifier) const;

    // The attribute of the subject by its short name (CN, OU, O, C ...) as UTF-8. Absent when there is none
    // of that name, or more than one, or when it holds NUL.
    [[nodiscard]] std::optional<std::string> subject(const std::string& attribute) const;

private:
    std::shared_ptr<X509> certificate_;
};

} // namespace InstallerCore::CodeSign
