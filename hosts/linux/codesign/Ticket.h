#pragma once

#include "hosts/linux/codesign/HashType.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <vector>

namespace InstallerCore::CodeSign {

// What a stapled ticket vouches for.
struct Ticket {
    struct Entry {
        HashType type;
        Bytes cdHash; // 20 bytes

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    std::vector<Entry> entries;
};

// Reads the file that is stapled to an application (Contents/CodeResources) and proves its signature and
// certificates. Throws SignatureError. Pure but for memory; any thread.
//
// The layout is not documented; it was derived from tickets of several makers. Integers are little-endian.
//   0 "s8ch", 4 version 1, 8 length of the certificates, 12 length of the body
//   certificates: a DER sequence of two, the leaf and its authority, whose root is not along
//   body: 0 "g8tk", 4 16 bits 2, 6 16 bits 20, 8 count, 12 flags, 16 time (64 bits), 24 entries of 21 bytes:
//   the kind of a hash and a code directory's the rest: ECDSA with SHA-256 over all before it
[[nodiscard]] Ticket verifyTicket(ByteView file, const TrustRoots& roots, std::time_t now);

} // namespace InstallerCore::CodeSign
