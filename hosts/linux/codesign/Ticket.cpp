#include "hosts/linux/codesign/Ticket.h"

#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/CertificateChain.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/TimeStamp.h"

#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

constexpr std::size_t largestTicket = std::size_t{16} << 20U;
constexpr std::size_t fileHeaderSize = 16;
constexpr std::size_t bodyHeaderSize = 24;
constexpr std::size_t entrySize = 1 + cdHashSize;

template <typename Number>
Number littleEndian(ByteView bytes, std::size_t offset) {
    Number result = 0;
    for (std::size_t i = sizeof(Number); i > 0; --i) {
        result = static_cast<Number>(result << 8U) | std::to_integer<Number>(bytes[offset + i - 1]);
    }
    return result;
}

struct Parts {
    ByteView certificates;
    ByteView body;
    ByteView signedBytes; // all before the signature
    ByteView signature;
};

Parts split(ByteView file) {
    demand(file.size() <= largestTicket && file.size() >= fileHeaderSize && asText(file.first(4)) == "s8ch" &&
               littleEndian<std::uint32_t>(file, 4) == 1,
           "this is no ticket of a known kind");
    const std::size_t certificates = littleEndian<std::uint32_t>(file, 8);
    const std::size_t body = littleEndian<std::uint32_t>(file, 12);
    const std::size_t end = fileHeaderSize + certificates + body; // both of 32 bits: no overflow
    demand(end < file.size(), "the ticket is cut short");
    return {.certificates = file.subspan(fileHeaderSize, certificates),
            .body = file.subspan(fileHeaderSize + certificates, body),
            .signedBytes = file.first(end),
            .signature = file.subspan(end)};
}

std::time_t readTime(ByteView body) {
    constexpr std::uint64_t latest = std::uint64_t{1} << 40U; // no clock is that far
    demand(body.size() >= bodyHeaderSize && asText(body.first(4)) == "g8tk" &&
               littleEndian<std::uint16_t>(body, 4) == 2 &&
               littleEndian<std::uint16_t>(body, 6) == cdHashSize,
           "the ticket's body is of no known kind");
    const auto time = littleEndian<std::uint64_t>(body, 16);
    demand(time < latest, "the ticket's time is damaged");
    return static_cast<std::time_t>(time);
}

std::vector<Ticket::Entry> readEntries(ByteView body) {
    const std::size_t count = littleEndian<std::uint32_t>(body, 8);
    demand(body.size() - bodyHeaderSize == count * entrySize, "the ticket's entries do not fill its body");
    std::vector<Ticket::Entry> entries;
    entries.reserve(count);
    for (std::size_t offset = bodyHeaderSize; offset < body.size(); offset += entrySize) {
        const auto type = hashType(std::to_integer<std::uint8_t>(body[offset]));
        demand(type.has_value(), "the ticket has an entry of an unknown kind of hash");
        const ByteView cdHash = body.subspan(offset + 1, cdHashSize);
        entries.push_back({.type = *type, .cdHash = Bytes(cdHash.begin(), cdHash.end())});
    }
    return entries;
}

// The leaf and its authority.
std::vector<Certificate> readCertificates(ByteView encoded) {
    const Asn1Sequence elements = parseSequence(encoded);
    demand(elements != nullptr && sk_ASN1_TYPE_num(elements.get()) == 2,
           "the ticket does not bring exactly two certificates");
    std::vector<Certificate> certificates;
    for (int i = 0; i < 2; ++i) {
        const auto certificate = contentOf(sk_ASN1_TYPE_value(elements.get(), i), V_ASN1_SEQUENCE);
        demand(certificate.has_value(), "a certificate is damaged");
        certificates.push_back(Certificate::parse(*certificate));
    }
    return certificates;
}

void demandRootAtHand(const Certificate& authority, const TrustRoots& roots) {
    const auto isIssuer = [&](const Certificate& root) {
        return X509_check_issued(root.get(), authority.get()) == X509_V_OK;
    };
    demand(std::ranges::any_of(roots.certificates(), isIssuer),
           "the certificate of the root that the ticket leads to is not at hand");
}

void verifySignature(const Certificate& leaf, ByteView signedBytes, ByteView signature) {
    EVP_PKEY* const key = X509_get0_pubkey(leaf.get());
    demand(key != nullptr && EVP_PKEY_get_base_id(key) == EVP_PKEY_EC, "the ticket's key is not an EC key");
    const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(allocated(EVP_MD_CTX_new()));
    demand(EVP_DigestVerifyInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr, key, nullptr) == 1 &&
               EVP_DigestVerify(context.get(), octets(signature), signature.size(), octets(signedBytes),
                                signedBytes.size()) == 1,
           "the ticket's signature does not hold");
}

} // namespace

Ticket verifyTicket(ByteView file, const TrustRoots& roots, std::time_t now) {
    const DroppedErrors errors;
    const Parts parts = split(file);
    const std::time_t time = readTime(parts.body);
    demand(time <= now + clockAllowance, "the ticket lies in the future");
    Ticket ticket{.entries = readEntries(parts.body)};
    const std::vector<Certificate> certificates = readCertificates(parts.certificates);
    const Certificate& leaf = certificates.front();
    demandRootAtHand(certificates.back(), roots);
    demand(leaf.hasExtension(Marker::ticketLeaf), "the ticket's certificate is not for tickets");
    // A ticket is to hold as long as the application does, so its certificates count at its own time. Nobody
    // else attests that; whoever could forge it would have the ticket authority's key.
    const auto chain = verifyChain(leaf, certificates, roots, time,
                                   {.owner = "ticket authority", .criticalMarkers = {Marker::ticketLeaf}});
    demand(chain.size() == 3, "the ticket's certificates are not a leaf and its authority");
    verifySignature(leaf, parts.signedBytes, parts.signature);
    return ticket;
}

} // namespace InstallerCore::CodeSign
