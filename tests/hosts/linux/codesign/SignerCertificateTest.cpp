#include "tests/hosts/linux/codesign/CmsFixture.h"

#include <chrono>

namespace InstallerCore {

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using Rehearsal::CertificatePeriod;
using Rehearsal::CmsOptions;
using Rehearsal::signCms;

constexpr CertificatePeriod expired{.begin = -240h, .end = -1h};
constexpr CertificatePeriod future{.begin = 1h, .end = 240h};

// What is demanded of the certificates of a signature.
class SignerCertificateTest : public CmsFixture {
protected:
    const CmsOptions withoutTimeStamp_{.timeStamp = false};
};

TEST_F(SignerCertificateTest, CountsAtTheTimeOfTheTimeStamp) {
    const auto old = identity_.reissued({.leaf = {.period = expired}});
    EXPECT_EQ(verify(signCms(old, one_, {.timeStampTime = now_ - 7200}), one_).timeStamp, now_ - 7200);
    const char* const rule = "the certificate of the signer had expired";
    expectRefused(rule, old, {.timeStampTime = now_ - 1800});
    expectRefused(rule, old, withoutTimeStamp_);
    // What the signer says of the time is no proof.
    expectRefused(rule, old, {.signingTime = now_ - 7200, .timeStamp = false});
}

TEST_F(SignerCertificateTest, DoesNotCountBeforeItsTime) {
    const char* const rule = "the certificate of the signer was not valid yet";
    const auto early = identity_.reissued({.leaf = {.period = future}});
    expectRefused(rule, early, withoutTimeStamp_);
    expectRefused(rule, early);
}

TEST_F(SignerCertificateTest, HasAnAuthorityOfTheSameTime) {
    expectRefused("a certificate authority of the signer had expired",
                  identity_.reissued({.authority = {.period = expired}}));
    expectRefused("a certificate authority of the signer was not valid yet",
                  identity_.reissued({.authority = {.period = future}}));
}

TEST_F(SignerCertificateTest, IsForSigningCode) {
    expectRefused("the certificate of the signer is for another purpose",
                  identity_.reissued({.leaf = {.extendedKeyUsage = false}}));
    expectRefused("the certificate of the signer is not for signatures",
                  identity_.reissued({.leaf = {.keyUsage = false}}));
}

TEST_F(SignerCertificateTest, IsIssuedByAnAuthority) {
    const auto pretender = identity_.reissued({.authority = {.certificateAuthority = false}});
    expectSignatureError("a certificate authority of the signer is refused: invalid CA certificate",
                         [&] { (void)verify(signCms(pretender, one_), one_); });
}

TEST_F(SignerCertificateTest, MayBeIssuedByTheRoot) {
    const auto direct = identity_.reissued({.leafIssuedByRoot = true});
    EXPECT_EQ(verify(signCms(direct, one_, {.embedAuthority = false}), one_).chain.size(), 2U);
}

TEST_F(SignerCertificateTest, ComesAloneWithItsChain) {
    const auto direct = identity_.reissued({.leafIssuedByRoot = true});
    expectRefused("the signature brings a certificate that is not of its chain", direct);
}

TEST_F(SignerCertificateTest, HasNoUnknownCriticalExtension) {
    const char* const rule = "the certificate of the signer has an unknown critical extension";
    expectRefused(rule, identity_.reissued({.leaf = {.criticalExtensions = {"1.2.3.4"}}}));
    expectRefused(rule, identity_.reissued({.leaf = {.marker = false, .criticalExtensions = {"1.2.3.4"}}}));
    EXPECT_NO_THROW(
        (void)verify(signCms(identity_.reissued({.leaf = {.extensions = {"1.2.3.4"}}}), one_), one_));
    // The leaf's own marker is no excuse for an authority.
    expectRefused(
        "a certificate authority of the signer has an unknown critical extension",
        identity_.reissued({.authority = {.criticalExtensions = {CodeSign::Marker::developerIdLeaf}}}));
}

TEST_F(SignerCertificateTest, NeedsNoMarkerToBeGenuine) {
    // Whether software of that kind may run is another question.
    const auto plain = identity_.reissued({.authority = {.marker = false}, .leaf = {.marker = false}});
    const CodeSign::Signer signer = verify(signCms(plain, one_), one_);
    EXPECT_FALSE(signer.chain[0].hasExtension(CodeSign::Marker::developerIdLeaf));
    EXPECT_FALSE(signer.chain[1].hasExtension(CodeSign::Marker::developerIdAuthority));
}

TEST_F(SignerCertificateTest, LeadsToATrustedRootAndNotToItsNamesake) {
    const auto namesake = Rehearsal::SigningIdentity::make();
    const char* const rule = "the certificates of the signer do not lead to a trusted root";
    expectRefused(rule, namesake, withoutTimeStamp_);
    expectRefused(rule, namesake, {.embedRoot = false, .timeStamp = false});
    const Bytes message = signCms(identity_, one_, withoutTimeStamp_);
    expectSignatureError(rule, [&] { (void)verify(message, one_, CodeSign::TrustRoots::apple()); });
    expectSignatureError(
        rule, [&] { (void)verify(message, one_, CodeSign::TrustRoots::fromPem(namesake.rootPem())); });
}

} // namespace

} // namespace InstallerCore
