#include "hosts/linux/codesign/CmsSignature.h"

#include "tests/hosts/linux/codesign/CmsFixture.h"

#include <openssl/err.h>

#include <algorithm>

namespace InstallerCore {

namespace {

using namespace Testing;
using CodeSign::HashType;
using CodeSign::Signer;
using Rehearsal::CmsOptions;
using Rehearsal::digestOf;
using Rehearsal::Role;
using Rehearsal::signCms;

using DirectoryDigests = std::vector<Rehearsal::DirectoryDigest>;

class CmsSignatureTest : public CmsFixture {
protected:
    // Every byte altered in turn, some bits of it.
    template <typename Judge>
    static void damageEach(const Bytes& message, Judge judge) {
        for (std::size_t i = 0; i < message.size(); ++i) {
            Bytes damaged = message;
            damaged[i] ^= std::byte{1} << (i % 8);
            judge(i, damaged);
        }
    }

    const DirectoryDigests listed_{digestOf(two_[0]), digestOf(two_[1])};
};

TEST_F(CmsSignatureTest, NamesTheSignerUpToTheRootAndTheTime) {
    const Signer signer = verify(signCms(identity_, one_, {.timeStampTime = now_ - 100}), one_);
    ASSERT_EQ(signer.chain.size(), 3U);
    EXPECT_EQ(signer.chain[0].der(), certificate(identity_, Role::leaf).der());
    EXPECT_EQ(signer.chain[1].der(), certificate(identity_, Role::authority).der());
    EXPECT_EQ(signer.chain[2].der(), certificate(identity_, Role::root).der());
    EXPECT_EQ(signer.timeStamp, now_ - 100);
}

TEST_F(CmsSignatureTest, NeedsNoTimeStamp) {
    EXPECT_EQ(verify(signCms(identity_, one_, {.timeStamp = false}), one_).timeStamp, std::nullopt);
}

TEST_F(CmsSignatureTest, HoldsForEveryKindOfDigest) {
    const std::vector<Bytes> all{directory(HashType::sha1), directory(HashType::sha256),
                                 directory(HashType::sha256Truncated), directory(HashType::sha384)};
    EXPECT_EQ(verify(signCms(identity_, all), all).chain.size(), 3U);
    for (const auto digest : {Rehearsal::SignatureHash::sha1, Rehearsal::SignatureHash::sha384}) {
        const CmsOptions options{.digest = digest, .timeStampDigest = digest};
        EXPECT_EQ(verify(signCms(identity_, one_, options), one_).chain.size(), 3U);
    }
}

TEST_F(CmsSignatureTest, IsOverTheFirstDirectory) {
    const Bytes message = signCms(identity_, one_);
    const char* const rule = "the signature is not one over the code directory";
    expectRefused(rule, message, {directory(HashType::sha256, 'y')});
    expectRefused(rule, message, {Bytes(one_[0].begin(), one_[0].end() - 1)});
    expectRefused(rule, {.messageDigest = Bytes(32)}, one_);
    expectSignatureError("there is no code directory", [&] { (void)verify(message, {}); });
}

TEST_F(CmsSignatureTest, IsOverNoOtherDirectoryThanItNames) {
    const Bytes message = signCms(identity_, two_);
    ASSERT_NO_THROW((void)verify(message, two_));
    const char* const rule = "the signer's list of full hashes does not fit the code directories";
    expectRefused(rule, message, {two_[0]});
    expectRefused(rule, message, {two_[0], directory(HashType::sha256, 'y')});
    expectRefused(rule, message, {two_[0], directory(HashType::sha384)});
    expectRefused(rule, message, {two_[0], two_[1], directory(HashType::sha384)});
    expectRefused("the signature is not one over the code directory", message, {two_[1], two_[0]});
}

TEST_F(CmsSignatureTest, ListsFullHashesOfExactlyTheDirectories) {
    const char* const rule = "the signer's list of full hashes does not fit the code directories";
    for (const DirectoryDigests& entries :
         {DirectoryDigests{}, DirectoryDigests{listed_[0]}, DirectoryDigests{listed_[1]},
          DirectoryDigests{listed_[0], listed_[0]}, DirectoryDigests{listed_[0], listed_[1], listed_[1]},
          DirectoryDigests{listed_[0], digestOf(directory(HashType::sha256, 'y'))}}) {
        expectRefused(rule, {.hashListEntries = entries}, two_);
    }
}

TEST_F(CmsSignatureTest, ListsFullHashesInAnyOrder) {
    // A set has no order that the signer could choose.
    const CmsOptions reversed{.hashListEntries = DirectoryDigests{listed_[1], listed_[0]}};
    EXPECT_NO_THROW((void)verify(signCms(identity_, two_, reversed), two_));
}

TEST_F(CmsSignatureTest, ListsCutHashesByTheKindOfDirectory) {
    const char* const rule = "the signer's property list of hashes does not fit the code directories";
    // The signer sorts by kind: with each other's kind, the hashes come out in the wrong order.
    DirectoryDigests swapped = listed_;
    std::swap(swapped[0].type, swapped[1].type);
    for (const DirectoryDigests& hashes :
         {DirectoryDigests{}, DirectoryDigests{listed_[0]}, swapped,
          DirectoryDigests{listed_[0], listed_[1], listed_[1]},
          DirectoryDigests{listed_[0], digestOf(directory(HashType::sha256, 'y'))}}) {
        expectRefused(rule, {.propertyListHashes = hashes}, two_);
    }
    const std::vector<Bytes> otherOrder{two_[1], two_[0]};
    EXPECT_NO_THROW(
        (void)verify(signCms(identity_, otherOrder, {.propertyListHashes = listed_}), otherOrder));
}

TEST_F(CmsSignatureTest, MustListCutHashesOnceThereIsMoreThanOneDirectory) {
    const CmsOptions neither{.hashList = false, .hashPropertyList = false};
    EXPECT_NO_THROW((void)verify(signCms(identity_, one_, neither), one_));
    EXPECT_NO_THROW((void)verify(signCms(identity_, two_, {.hashList = false}), two_));
    const char* const rule = "the signer does not list the code directories' hashes";
    expectRefused(rule, neither, two_);
    expectRefused(rule, {.hashPropertyList = false}, two_);
}

TEST_F(CmsSignatureTest, HasItsSignedAttributes) {
    const char* const rule = "the signature lacks its signed attributes";
    expectRefused(rule, {.contentType = false}, one_);
    expectRefused(rule, {.messageDigestAttribute = false}, one_);
    EXPECT_NO_THROW((void)verify(signCms(identity_, one_, {.signingTimeAttribute = false}), one_));
}

TEST_F(CmsSignatureTest, BringsTheCertificatesOfItsAuthorities) {
    expectRefused("the certificates of the signer do not lead to a trusted root", {.embedAuthority = false},
                  one_);
    const Signer signer = verify(signCms(identity_, one_, {.embedRoot = false}), one_);
    EXPECT_EQ(signer.chain.size(), 3U) << "the root is at hand";
}

TEST_F(CmsSignatureTest, IsExactlyOneMessage) {
    const Bytes message = signCms(identity_, one_);
    const char* const rule = "the signature's message is damaged";
    for (std::size_t size = 0; size < message.size(); size += 11) {
        expectRefused(rule, Bytes(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(size)),
                      one_);
    }
    Bytes longer = message;
    longer.push_back(std::byte{0});
    expectRefused(rule, longer, one_);
    expectRefused("the signature's message is too large", Bytes(262145), one_);
}

TEST_F(CmsSignatureTest, DamageIsRefusedOrChangesNothingThatIsProven) {
    const Bytes message = signCms(identity_, one_, {.timeStampTime = now_ - 100});
    std::size_t accepted = 0;
    ERR_clear_error();
    damageEach(message, [&](std::size_t position, const Bytes& damaged) {
        try {
            const Signer signer = verify(damaged, one_);
            ++accepted;
            EXPECT_EQ(signer.chain.at(0).der(), certificate(identity_, Role::leaf).der()) << position;
            // The kind of the unsigned attribute: without a time stamp, the signature stands for itself.
            EXPECT_TRUE(!signer.timeStamp.has_value() || signer.timeStamp == now_ - 100) << position;
        } catch (const CodeSign::SignatureError&) {
        }
    });
    // Numbers of versions, names of algorithms that only announce, and the attribute's kind of 11 bytes.
    EXPECT_LE(accepted, 40U);
    EXPECT_EQ(ERR_peek_error(), 0U) << "an error was left behind";
}

TEST_F(CmsSignatureTest, LeavesErrorsOfOthersAlone) {
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    expectRefused("the signature's message is damaged", Bytes{}, one_);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0U);
}

} // namespace

} // namespace InstallerCore
