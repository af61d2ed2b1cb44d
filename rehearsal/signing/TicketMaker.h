#pragma once

#include "rehearsal/signing/SignatureHash.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <ctime>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace InstallerCore::Rehearsal {

struct TicketOptions {
    std::optional<std::time_t> time;              // absent: now
    std::optional<std::vector<CodeHash>> entries; // in place of those of the code
    std::optional<Bytes> signedContent;           // sign this in place of the ticket's own bytes
};

// A ticket: integers are little-endian.
//   0 "s8ch", 4 version 1, 8 length of the certificates, 12 length of the body
//   certificates: a DER sequence of two, the leaf and its authority
//   body: "g8tk", 16 bits 2, 16 bits 20, 32 bits count, 32 bits 0, 64 bits seconds since 1970, then for each
//   entry a byte with the kind of hash and 20 bytes of it
//   the rest: ECDSA with SHA-256 over all before it, DER
// Throws std::runtime_error.
[[nodiscard]] Bytes makeTicket(const SigningIdentity& identity, std::span<const CodeHash> entries,
                               const TicketOptions& options = {});

// Writes Contents/CodeResources of a signed application: a ticket for its main executable and all nested
// code, every slice and directory of each.
void stapleTicket(const std::filesystem::path& bundle, const SigningIdentity& identity,
                  const TicketOptions& options = {});

} // namespace InstallerCore::Rehearsal
