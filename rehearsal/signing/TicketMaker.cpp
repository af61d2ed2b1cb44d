#include "rehearsal/signing/TicketMaker.h"

#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/Der.h"
#include "rehearsal/signing/MachOFile.h"
#include "rehearsal/signing/OpenSsl.h"

namespace InstallerCore::Rehearsal {

namespace {

template <typename T>
void put(Bytes& bytes, T value) {
    append(bytes, value, ByteOrder::little);
}

Bytes body(std::span<const CodeHash> entries, std::time_t time) {
    Bytes bytes = toBytes("g8tk");
    put(bytes, std::uint16_t{2});
    put(bytes, static_cast<std::uint16_t>(cdHashSize));
    put(bytes, static_cast<std::uint32_t>(entries.size()));
    put(bytes, std::uint32_t{0});
    put(bytes, static_cast<std::uint64_t>(time));
    for (const CodeHash& entry : entries) {
        put(bytes, static_cast<std::uint8_t>(entry.type));
        append(bytes, entry.hash);
    }
    return bytes;
}

} // namespace

Bytes makeTicket(const SigningIdentity& identity, std::span<const CodeHash> entries,
                 const TicketOptions& options) {
    const Bytes certificates =
        Der::value(Der::sequence, join({der(i2d_X509, identity.certificate(Role::ticketLeaf)),
                                        der(i2d_X509, identity.certificate(Role::ticketAuthority))}));
    const std::time_t time = options.time.value_or(std::time(nullptr));
    const Bytes content = options.entries ? body(*options.entries, time) : body(entries, time);
    Bytes ticket = toBytes("s8ch");
    put(ticket, std::uint32_t{1});
    put(ticket, static_cast<std::uint32_t>(certificates.size()));
    put(ticket, static_cast<std::uint32_t>(content.size()));
    append(ticket, certificates);
    append(ticket, content);
    append(ticket,
           signatureOf(options.signedContent.value_or(ticket), identity.key(Role::ticketLeaf), EVP_sha256()));
    return ticket;
}

void stapleTicket(const std::filesystem::path& bundle, const SigningIdentity& identity,
                  const TicketOptions& options) {
    std::vector<CodeHash> entries;
    for (const SignedCode& code : readSignedBundle(bundle)) {
        for (const std::vector<CodeHash>& hashes : code.slices) {
            entries.insert(entries.end(), hashes.begin(), hashes.end());
        }
    }
    const std::filesystem::path file = bundle / "Contents/CodeResources";
    writeBytes(file, makeTicket(identity, entries, options));
    using enum std::filesystem::perms;
    std::filesystem::permissions(file, owner_read | owner_write | group_read | others_read);
}

} // namespace InstallerCore::Rehearsal
