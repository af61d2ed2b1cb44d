#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <optional>

namespace InstallerCore::CodeSign {

// The digests that a signature may use, with the numbers of kSecCodeSignatureHash... in Apple's
// <Security/CSCommon.h>.
enum class HashType : std::uint8_t { sha1 = 1, sha256 = 2, sha256Truncated = 3, sha384 = 4 };

// A code directory's hash, and every list of such hashes, is cut to this.
inline constexpr std::size_t cdHashSize = 20;

[[nodiscard]] std::optional<HashType> hashType(std::uint8_t number);

// In bytes, as stored in a code directory: 20, 32, 20, 48.
[[nodiscard]] std::size_t hashSize(HashType type);

[[nodiscard]] const char* name(HashType type); // as in "SHA-256"

// The digest as stored in a code directory.
[[nodiscard]] Bytes hash(HashType type, ByteView content);

// The digest in full length: 32 bytes also for the truncated kind.
[[nodiscard]] Bytes fullHash(HashType type, ByteView content);

} // namespace InstallerCore::CodeSign
