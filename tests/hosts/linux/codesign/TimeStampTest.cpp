#include "hosts/linux/codesign/TimeStamp.h"

#include "rehearsal/signing/TimeStamper.h"
#include "tests/hosts/linux/codesign/CmsFixture.h"

#include <chrono>

namespace InstallerCore {

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using Rehearsal::CertificateOptions;
using Rehearsal::makeTimeStamp;
using Rehearsal::SignatureHash;
using Rehearsal::SigningIdentity;

class TimeStampTest : public SigningFixture {
protected:
    [[nodiscard]] Bytes stamp(std::time_t time) const { return stamp(identity_, time); }

    [[nodiscard]] Bytes stamp(const SigningIdentity& identity, std::time_t time) const {
        return makeTimeStamp(identity, value_, time, SignatureHash::sha256);
    }

    [[nodiscard]] std::time_t verify(ByteView token) const {
        return CodeSign::verifyTimeStamp(token, value_, {}, roots_, now_);
    }

    void expectRefused(const std::string& text, ByteView token) const {
        expectSignatureError(text, [&] { (void)verify(token); });
    }

    const Bytes value_ = toBytes("the value of a signature");
};

TEST_F(TimeStampTest, SaysWhen) {
    for (const std::time_t time : {now_ - 3600, now_, now_ + 3600}) {
        EXPECT_EQ(verify(stamp(time)), time);
    }
}

TEST_F(TimeStampTest, IsMadeWithEveryKindOfDigest) {
    for (const auto hash : {SignatureHash::sha1, SignatureHash::sha256, SignatureHash::sha384}) {
        EXPECT_EQ(verify(makeTimeStamp(identity_, value_, now_, hash)), now_);
    }
}

TEST_F(TimeStampTest, IsOverThisValue) {
    const Bytes other =
        makeTimeStamp(identity_, toBytes("the value of a signaturf"), now_, SignatureHash::sha256);
    expectRefused("the time stamp is not one over this signature", other);
}

TEST_F(TimeStampTest, LiesNotInTheFutureButForAWrongClock) {
    EXPECT_EQ(verify(stamp(now_ + CodeSign::clockAllowance)), now_ + CodeSign::clockAllowance);
    expectRefused("the time stamp lies in the future", stamp(now_ + CodeSign::clockAllowance + 1));
}

TEST_F(TimeStampTest, CountsAtItsOwnTime) {
    const auto old = identity_.reissued({.timeStampLeaf = {.period = {{.begin = -20h, .end = -2h}}}});
    EXPECT_EQ(verify(stamp(old, now_ - 3 * 3600)), now_ - 3 * 3600);
    expectRefused("the certificate of the time-stamp authority had expired", stamp(old, now_ - 5400));
    expectRefused("the certificate of the time-stamp authority was not valid yet",
                  stamp(old, now_ - std::time_t{22} * 3600));
}

TEST_F(TimeStampTest, IsSignedByOneWhoMayAndDoesNothingElse) {
    const CertificateOptions none{.extendedKeyUsage = false};
    expectRefused("the certificate of the time-stamp authority is for another purpose",
                  stamp(identity_.reissued({.timeStampLeaf = none}), now_));
    expectRefused("the certificate of the time-stamp authority has an unknown critical extension",
                  stamp(identity_.reissued({.timeStampLeaf = {.criticalExtensions = {"1.2.3.4"}}}), now_));
    expectRefused("a certificate authority of the time-stamp authority is refused: invalid CA certificate",
                  stamp(identity_.reissued({.timeStampAuthority = {.certificateAuthority = false}}), now_));
}

TEST_F(TimeStampTest, LeadsToATrustedRoot) {
    const auto namesake = SigningIdentity::make();
    expectRefused("the certificates of the time-stamp authority do not lead to a trusted root",
                  stamp(namesake, now_));
}

TEST_F(TimeStampTest, IsExactlyOneToken) {
    const Bytes token = stamp(now_);
    for (std::size_t size = 0; size < token.size(); size += 11) {
        expectRefused("the time stamp is damaged", ByteView(token).first(size));
    }
    Bytes longer = token;
    longer.push_back(std::byte{0});
    expectRefused("the time stamp is damaged", longer);
    expectRefused("the time stamp is damaged", toBytes("no token"));
}

TEST_F(TimeStampTest, DamageIsRefusedOrChangesNothing) {
    const Bytes token = stamp(now_ - 100);
    std::size_t accepted = 0;
    for (std::size_t i = 0; i < token.size(); ++i) {
        Bytes damaged = token;
        damaged[i] ^= std::byte{1} << (i % 8);
        try {
            EXPECT_EQ(verify(damaged), now_ - 100) << i;
            ++accepted;
        } catch (const CodeSign::SignatureError&) {
        }
    }
    // Numbers of versions, and names of algorithms that only announce.
    EXPECT_LE(accepted, 20U);
}

// Within a signature.
class StampedSignatureTest : public CmsFixture {};

TEST_F(StampedSignatureTest, IsStampedOverItsValue) {
    expectRefused("the time stamp is not one over this signature", {.timeStampedValue = Bytes(256)}, one_);
}

TEST_F(StampedSignatureTest, IsRefusedForABadStampThoughItNeedsNone) {
    expectRefused("the time stamp lies in the future", {.timeStampTime = now_ + std::time_t{3} * 24 * 3600},
                  one_);
    expectRefused("a certificate authority of the time-stamp authority was not valid yet",
                  {.timeStampTime = now_ - std::time_t{30} * 24 * 3600}, one_);
}

} // namespace

} // namespace InstallerCore
