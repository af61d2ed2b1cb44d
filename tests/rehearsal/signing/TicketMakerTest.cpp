#include "rehearsal/signing/TicketMaker.h"

#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/OpenSsl.h"
#include "tests/rehearsal/signing/SigningJudge.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <set>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const CodeHash first{.type = SignatureHash::sha1, .hash = Bytes(20, std::byte{0x11})};
const CodeHash second{.type = SignatureHash::sha256, .hash = Bytes(20, std::byte{0x22})};

struct ReadTicket {
    std::vector<Owned<X509>> certificates;
    std::string body;
    bool signatureFits = false;
};

std::uint32_t number(ByteView bytes, std::size_t offset) {
    return load<std::uint32_t>(bytes, offset, ByteOrder::little);
}

ReadTicket read(ByteView ticket) {
    EXPECT_EQ(asText(ticket.first(4)), "s8ch");
    EXPECT_EQ(number(ticket, 4), 1U);
    const std::size_t certificatesSize = number(ticket, 8);
    const std::size_t bodySize = number(ticket, 12);
    ReadTicket result{.body = std::string(asText(ticket.subspan(16 + certificatesSize, bodySize)))};

    EXPECT_EQ(hexadecimal(ticket.subspan(16, 2)), "3082"); // a sequence of more than 255 bytes
    const unsigned char* position = raw(ticket.subspan(20));
    const unsigned char* const end = raw(ticket.subspan(16 + certificatesSize));
    while (position < end) {
        X509* const certificate = d2i_X509(nullptr, &position, end - position);
        check(certificate != nullptr, "certificate of a ticket");
        result.certificates.emplace_back(certificate);
    }
    const std::size_t signedSize = 16 + certificatesSize + bodySize;
    const ByteView signature = ticket.subspan(signedSize);
    const auto context = owned(EVP_MD_CTX_new(), "ticket");
    EVP_PKEY* const key = X509_get0_pubkey(result.certificates.at(0).get());
    result.signatureFits =
        EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
        EVP_DigestVerify(context.get(), raw(signature), signature.size(), raw(ticket), signedSize) == 1;
    return result;
}

TEST(TicketMakerTest, TheLayoutIsTheKnownOne) {
    const std::vector<CodeHash> entries = {first, second};
    const ReadTicket ticket = read(makeTicket(sharedIdentity(), entries, {.time = 0x0102030405}));
    EXPECT_EQ(hexadecimal(asBytes(ticket.body)), "6738746b"
                                                 "0200"
                                                 "1400"
                                                 "02000000"
                                                 "00000000"
                                                 "0504030201000000"
                                                 "01" +
                                                     std::string("1111111111111111111111111111111111111111") +
                                                     "02" + "2222222222222222222222222222222222222222");
    EXPECT_TRUE(ticket.signatureFits);
}

TEST(TicketMakerTest, TheCertificatesAreTheLeafAndItsAuthority) {
    const ReadTicket ticket = read(makeTicket(sharedIdentity(), {}));
    ASSERT_EQ(ticket.certificates.size(), 2U);
    EXPECT_EQ(X509_cmp(ticket.certificates[0].get(), sharedIdentity().certificate(Role::ticketLeaf)), 0);
    EXPECT_EQ(X509_cmp(ticket.certificates[1].get(), sharedIdentity().certificate(Role::ticketAuthority)), 0);
}

TEST(TicketMakerTest, EntriesAndWhatIsSignedCanBeOthers) {
    const ReadTicket none = read(makeTicket(sharedIdentity(), std::vector{first}, {.entries = {{}}}));
    EXPECT_EQ(none.body.size(), 24U);
    EXPECT_TRUE(none.signatureFits);
    EXPECT_FALSE(read(makeTicket(sharedIdentity(), {}, {.signedContent = Bytes(1)})).signatureFits);
}

TEST(TicketMakerTest, AStapledTicketListsAllCodeOfTheBundle) {
    const TemporaryDirectory directory;
    const auto app = makeSampleApplication({}, directory.path());
    EXPECT_THROW(stapleTicket(directory.path(), sharedIdentity()), std::exception);
    (void)signBundle(app, &sharedIdentity(),
                     {.code = {.hashes = {SignatureHash::sha1, SignatureHash::sha256}}});
    stapleTicket(app, sharedIdentity());

    std::set<std::string> expected; // application, framework and helper: two slices with two directories each
    for (const char* code :
         {"MacOS/Kavio", "Helpers/KavioHelper", "Frameworks/KavioKit.framework/KavioKit"}) {
        for (const SignedCode found = readSignedMachO(app / "Contents" / code);
             const std::vector<CodeHash>& slice : found.slices) {
            for (const CodeHash& hash : slice) {
                expected.insert(std::string(1, static_cast<char>(hash.type)) +
                                std::string(asText(hash.hash)));
            }
        }
    }
    const std::string file = readFile(app / "Contents/CodeResources");
    const ReadTicket ticket = read(asBytes(file));
    EXPECT_TRUE(ticket.signatureFits);
    std::set<std::string> listed;
    for (std::size_t i = 24; i < ticket.body.size(); i += 21) {
        listed.insert(ticket.body.substr(i, 21));
    }
    EXPECT_EQ(expected.size(), 12U);
    EXPECT_TRUE(listed == expected);
    EXPECT_EQ(judgeBundle(app).size(), 2U); // the ticket breaks no seal
}

} // namespace

} // namespace InstallerCore
