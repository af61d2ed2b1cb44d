// An application that a Mac signed, when it is there.
#include "tests/integration/signatures/ByteDamages.h"
#include "tests/integration/signatures/DamageFixture.h"
#include "tests/integration/signatures/DamageRules.h"
#include "tests/integration/signatures/EntryDamages.h"
#include "tests/integration/signatures/MessageDamages.h"
#include "tests/integration/signatures/SampleBundles.h"

#include <cstdlib>

namespace InstallerCore {

namespace {

using namespace Testing;

constexpr const char* application = "DevSignedApp.app";
constexpr const char* executable = "Contents/MacOS/SignedApp";

class MacDamageTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path archive = std::filesystem::path(KAVIO_MAC_IMAGES) / "DevSignedApp.zip";
        if (!std::filesystem::exists(archive)) {
            GTEST_SKIP() << "There is no " << archive;
        }
        const std::string command =
            "/usr/bin/7zz x -y -o'" + directory_.path().string() + "' '" + archive.string() + "' >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    [[nodiscard]] DamageSubject subject(unsigned sampledOneOf, DamageRules rules) const {
        return {.name = "Mac application",
                .path = directory_ / application,
                .requirement = requirementFor("com.zoo.SignedApp", "ZCK58M894E"),
                .roots = CodeSign::TrustRoots::apple(),
                .now = std::time(nullptr),
                .rules = std::move(rules),
                .sampledOneOf = sampledOneOf};
    }

    TemporaryDirectory directory_;
};

TEST_F(MacDamageTest, NoBitOfItsSignatureCanBeOther) {
    const DamageSubject subject =
        this->subject(100, join({bitRules(), messageBitRules(), sha1TimeStampBitRules()}));
    DamageCampaign campaign(subject);
    flipBytes(campaign, executable, true);
    campaign.finish();
}

TEST_F(MacDamageTest, NoPartOfItCanBeOther) {
    const SampleBundles bundles(SampleBundles::Size::small);
    const DamageSubject subject =
        this->subject(8, join({blobRules(), messageRules(), nullParameterRules(), entryRules(),
                               attributeRules(directory_ / application), applicationRules()}));
    DamageCampaign campaign(subject);
    damageBlobs(campaign, executable, bundles.donors());
    damageMessages(campaign, executable);
    damageEntries(campaign);
    exchangeFiles(campaign, bundles.donors());
    campaign.finish();
}

} // namespace

} // namespace InstallerCore
