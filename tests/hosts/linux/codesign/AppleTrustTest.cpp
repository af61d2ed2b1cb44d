// Of a build that trusts Apple's roots.
#include "hosts/linux/codesign/ExecutionPolicy.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "rehearsal/SampleSignature.h"
#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

using Testing::refusalOf;

class AppleTrustTest : public Testing::BundleFixture {
protected:
    // What the sample release of this build is refused with.
    [[nodiscard]] static std::string refusal(const std::filesystem::path& bundle, const TrustRoots& roots) {
        return refusalOf([&] { return verifyStatic(bundle, nullptr, roots, std::time(nullptr)); });
    }

    [[nodiscard]] std::filesystem::path sampleRelease() {
        const std::filesystem::path bundle = unsignedCopy();
        Rehearsal::signSampleApplication(bundle);
        return bundle;
    }

    const TrustRoots sampleRoots = TrustRoots::fromPem(Rehearsal::sampleIdentity().rootPem());
};

TEST_F(AppleTrustTest, doesNotKnowTheRootOfSamples) {
    const Certificate root(Rehearsal::sampleIdentity().certificate(Rehearsal::Role::root));
    EXPECT_TRUE(sampleRoots.contain(root));
    EXPECT_FALSE(TrustRoots::ofBuild().contain(root));
}

TEST_F(AppleTrustTest, refusesTheSampleReleaseForItsSignerAlone) {
    const std::filesystem::path bundle = sampleRelease();
    EXPECT_EQ(refusal(bundle, sampleRoots), "");
    const std::string withApple = refusal(bundle, TrustRoots::ofBuild());
    EXPECT_EQ(withApple, "Contents/MacOS/Kavio (arm64): the certificates of the time-stamp authority do not "
                         "lead to a trusted root");
    EXPECT_EQ(refusalOf([&] {
                  assessExecution(bundle, StapledTicket::notAsked, TrustRoots::ofBuild(), std::time(nullptr));
                  return 0;
              }),
              withApple);
}

} // namespace

} // namespace InstallerCore::CodeSign
