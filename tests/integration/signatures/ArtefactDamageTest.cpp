// A framework of other makers, signed by nobody: whatever its own signature does not hold together can be
// made anew, but nothing in it can be exchanged by itself.
#include "tests/integration/signatures/BlobDamages.h"
#include "tests/integration/signatures/ByteDamages.h"
#include "tests/integration/signatures/DamageFixture.h"
#include "tests/integration/signatures/DamageRules.h"
#include "tests/integration/signatures/EntryDamages.h"
#include "tests/support/TemporaryDirectory.h"

namespace InstallerCore {

namespace {

using namespace Testing;

constexpr const char* framework = "Framework.framework";

class ArtefactDamageTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path original =
            std::filesystem::path(KAVIO_ARTEFACTS_DIRECTORY) /
            "sparkle/Sparkle.xcframework/macos-arm64_x86_64/Sparkle.framework";
        std::filesystem::copy(original, directory_ / framework,
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::copy_symlinks);
    }

    [[nodiscard]] DamageSubject subject(unsigned sampledOneOf, DamageRules rules) const {
        return {.name = "ad-hoc framework",
                .path = directory_ / framework,
                .requirement = {},
                .roots = CodeSign::TrustRoots::apple(),
                .now = std::time(nullptr),
                .rules = std::move(rules),
                .sampledOneOf = sampledOneOf};
    }

    TemporaryDirectory directory_;
};

TEST_F(ArtefactDamageTest, NoCodeOfAFrameworkCanBeOther) {
    const DamageSubject subject =
        this->subject(300, join({bitRules(), universalBitRules(), blobRules(), adHocRules()}));
    DamageCampaign campaign(subject);
    for (const std::string& executable : executablesIn(subject.path)) {
        flipBytes(campaign, executable, false);
        damageBlobs(campaign, executable, {});
    }
    campaign.finish();
}

TEST_F(ArtefactDamageTest, NoEntryOfAFrameworkCanBeOther) {
    const DamageSubject subject = this->subject(
        20,
        join({entryRules(), attributeRules(directory_ / framework), applicationRules(), frameworkRules()}));
    DamageCampaign campaign(subject);
    damageEntries(campaign);
    campaign.finish();
}

} // namespace

} // namespace InstallerCore
