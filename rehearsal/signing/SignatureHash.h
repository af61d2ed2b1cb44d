#pragma once

#include "InstallerCore/support/Bytes.h"

#include <openssl/types.h>

#include <cstdint>

namespace InstallerCore::Rehearsal {

// The digests of code directories, as these number them.
enum class SignatureHash : std::uint8_t { sha1 = 1, sha256 = 2, sha256Truncated = 3, sha384 = 4 };

inline constexpr std::size_t cdHashSize = 20;

// The hash of one code directory, cut to 20 bytes.
struct CodeHash {
    SignatureHash type;
    Bytes hash;

    friend bool operator==(const CodeHash&, const CodeHash&) = default;
};

// In bytes, as stored: 20, 32, 20, 48.
[[nodiscard]] std::size_t storedSize(SignatureHash type);

[[nodiscard]] const EVP_MD* algorithm(SignatureHash type);

// In full length: 32 bytes also for the truncated kind.
[[nodiscard]] Bytes digest(SignatureHash type, ByteView content);

} // namespace InstallerCore::Rehearsal
