#include "hosts/linux/codesign/Ticket.h"

#include "hosts/linux/codesign/TimeStamp.h"
#include "rehearsal/signing/TicketMaker.h"
#include "tests/hosts/linux/codesign/SigningFixture.h"

#include <chrono>

namespace InstallerCore {

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using CodeSign::HashType;
using CodeSign::Ticket;
using Rehearsal::CertificateOptions;
using Rehearsal::CodeHash;
using Rehearsal::makeTicket;
using Rehearsal::SignatureHash;
using Rehearsal::SigningIdentity;

class TicketTest : public SigningFixture {
protected:
    [[nodiscard]] Bytes ticket(const Rehearsal::TicketOptions& options = {}) const {
        return makeTicket(identity_, entries_, options);
    }

    [[nodiscard]] Ticket verify(ByteView file) const { return CodeSign::verifyTicket(file, roots_, now_); }

    void expectRefused(const std::string& text, ByteView file) const {
        expectSignatureError(text, [&] { (void)verify(file); });
    }

    // A good ticket with one number of 32 bits changed before it is signed.
    [[nodiscard]] Bytes resigned(std::size_t offset, std::string_view bytes) const {
        Bytes file = ticket();
        const std::size_t end = bodyOf(file) + 24 + 2 * 21;
        std::ranges::copy(asBytes(bytes), file.begin() + static_cast<std::ptrdiff_t>(offset));
        const Bytes signedContent(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(end));
        const Bytes other = ticket({.signedContent = signedContent});
        Bytes result = signedContent;
        result.insert(result.end(), other.begin() + static_cast<std::ptrdiff_t>(end), other.end());
        return result;
    }

    // Where the body begins.
    [[nodiscard]] static std::size_t bodyOf(ByteView file) { return asText(file).find("g8tk"); }

    const std::vector<CodeHash> entries_{
        {.type = SignatureHash::sha256, .hash = toBytes("abcdefghijklmnopqrst")},
        {.type = SignatureHash::sha1, .hash = toBytes("ABCDEFGHIJKLMNOPQRST")}};
};

TEST_F(TicketTest, ListsWhatItVouchesFor) {
    const std::vector<Ticket::Entry> expected{
        {.type = HashType::sha256, .cdHash = toBytes("abcdefghijklmnopqrst")},
        {.type = HashType::sha1, .cdHash = toBytes("ABCDEFGHIJKLMNOPQRST")}};
    EXPECT_EQ(verify(ticket()).entries, expected);
    EXPECT_TRUE(verify(ticket({.entries = std::vector<CodeHash>{}})).entries.empty());
}

TEST_F(TicketTest, CountsAtItsOwnTime) {
    const auto old = identity_.reissued({.ticketLeaf = {.period = {{.begin = -20h, .end = -10h}}}});
    EXPECT_NO_THROW((void)verify(makeTicket(old, entries_, {.time = now_ - std::time_t{15} * 3600})));
    expectRefused("the certificate of the ticket authority had expired",
                  makeTicket(old, entries_, {.time = now_ - std::time_t{5} * 3600}));
    expectRefused("the certificate of the ticket authority was not valid yet",
                  makeTicket(old, entries_, {.time = now_ - std::time_t{22} * 3600}));
    EXPECT_NO_THROW((void)verify(ticket({.time = now_ + CodeSign::clockAllowance})));
    expectRefused("the ticket lies in the future", ticket({.time = now_ + CodeSign::clockAllowance + 1}));
}

TEST_F(TicketTest, IsSignedByATicketAuthority) {
    const auto refuse = [&](const std::string& text, const Rehearsal::IdentityOptions& options) {
        expectRefused(text, makeTicket(identity_.reissued(options), entries_));
    };
    refuse("the ticket's certificate is not for tickets", {.ticketLeaf = {.marker = false}});
    refuse("the certificate of the ticket authority has an unknown critical extension",
           {.ticketLeaf = {.criticalExtensions = {"1.2.3.4"}}});
    refuse("a certificate authority of the ticket authority is refused: invalid CA certificate",
           {.ticketAuthority = {.certificateAuthority = false}});
    refuse("a certificate authority of the ticket authority had expired",
           {.ticketAuthority = {.period = {{.begin = -20h, .end = -10h}}}});
}

TEST_F(TicketTest, LeadsToARootThatIsAtHand) {
    const Bytes file = ticket();
    const char* const rule = "the certificate of the root that the ticket leads to is not at hand";
    expectSignatureError(rule,
                         [&] { (void)CodeSign::verifyTicket(file, CodeSign::TrustRoots::apple(), now_); });
    // The namesake is at hand, but it did not sign.
    expectRefused(rule, makeTicket(SigningIdentity::make(), entries_));
}

TEST_F(TicketTest, HasASignatureOverAllBeforeIt) {
    expectRefused("the ticket's signature does not hold",
                  ticket({.signedContent = toBytes("something else")}));
    Bytes longer = ticket();
    longer.push_back(std::byte{0});
    expectRefused("the ticket's signature does not hold", longer);
}

TEST_F(TicketTest, IsOfTheKnownKind) {
    const char* const file = "this is no ticket of a known kind";
    expectRefused(file, {});
    expectRefused(file, toBytes("s8ch"));
    expectRefused(file, resigned(0, "S"));
    expectRefused(file, resigned(4, "\2"));
    expectRefused(file, Bytes((std::size_t{16} << 20U) + 1));
    const std::size_t body = bodyOf(ticket());
    const char* const kind = "the ticket's body is of no known kind";
    expectRefused(kind, resigned(body, "G"));
    expectRefused(kind, resigned(body + 4, "\3"));
    expectRefused(kind, resigned(body + 6, "\x20"));
    expectRefused("the ticket's time is damaged", resigned(body + 22, "\1"));
    expectRefused("the ticket has an entry of an unknown kind of hash", resigned(body + 24, "\5"));
}

TEST_F(TicketTest, HasExactlyItsLengths) {
    const Bytes good = ticket();
    const std::size_t body = bodyOf(good);
    const char* const fill = "the ticket's entries do not fill its body";
    expectRefused(fill, resigned(body + 8, "\1"));
    expectRefused(fill, resigned(body + 8, "\3"));
    expectRefused(fill, resigned(body + 8, "\xff\xff\xff\xff"));
    expectRefused("the ticket is cut short", resigned(8, "\xff\xff\xff\xff"));
    expectRefused("the ticket is cut short", resigned(12, "\xff\xff\xff\xff"));
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_THROW((void)verify(ByteView(good).first(size)), CodeSign::SignatureError) << size;
    }
}

TEST_F(TicketTest, WithstandsNoDamage) {
    const Bytes good = ticket();
    for (std::size_t i = 0; i < good.size(); ++i) {
        Bytes damaged = good;
        damaged[i] ^= std::byte{1} << (i % 8);
        EXPECT_THROW((void)verify(damaged), CodeSign::SignatureError) << i;
    }
}

} // namespace

} // namespace InstallerCore
