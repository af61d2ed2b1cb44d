#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "rehearsal/SampleSignature.h"
#include "tests/integration/signatures/AttributeDamages.h"
#include "tests/integration/signatures/ByteDamages.h"
#include "tests/integration/signatures/DamageFixture.h"
#include "tests/integration/signatures/DamageRules.h"
#include "tests/integration/signatures/EntryDamages.h"
#include "tests/integration/signatures/MessageDamages.h"
#include "tests/integration/signatures/SampleBundles.h"

namespace InstallerCore {

namespace {

using namespace Testing;
using Rehearsal::sampleIdentity;

DamageSubject subjectOf(const SampleBundles& bundles, const std::string& name, unsigned sampledOneOf,
                        DamageRules rules) {
    return {.name = name,
            .path = bundles.application(),
            .requirement =
                requirementFor(Config::decode(BuildConfig::json()).bundleID, sampleIdentity().team()),
            .roots = CodeSign::TrustRoots::fromPem(sampleIdentity().rootPem()),
            .now = std::time(nullptr),
            .rules = std::move(rules),
            .sampledOneOf = sampledOneOf};
}

TEST(SampleDamageTest, NoBitOfASignatureCanBeOther) {
    const SampleBundles bundles(SampleBundles::Size::small);
    const DamageSubject subject = subjectOf(
        bundles, "small sample", 80, join({bitRules(), messageBitRules(), validCertificateBitRules()}));
    DamageCampaign campaign(subject);
    flipBytes(campaign, SampleBundles::executable, true);
    campaign.finish();
}

TEST(SampleDamageTest, NoPartOfASignatureCanBeOther) {
    const SampleBundles bundles(SampleBundles::Size::small);
    const DamageSubject subject =
        subjectOf(bundles, "small sample", 8,
                  join({blobRules(), messageRules(), validCertificateRules(), oneDirectoryRules()}));
    DamageCampaign campaign(subject);
    damageBlobs(campaign, SampleBundles::executable, bundles.donors());
    damageMessages(campaign, SampleBundles::executable);
    signDifferently(campaign, SampleBundles::executable, sampleIdentity(), bundles.stranger());
    campaign.finish();
}

TEST(SampleDamageTest, NoCodeOfABundleCanBeOther) {
    const SampleBundles bundles(SampleBundles::Size::full);
    const DamageSubject subject =
        subjectOf(bundles, "full sample", 100,
                  join({bitRules(), universalBitRules(), messageBitRules(), validCertificateBitRules(),
                        blobRules(), messageRules(), validCertificateRules(), sameHelperRules()}));
    DamageCampaign campaign(subject);
    for (const std::string& executable : executablesIn(subject.path)) {
        flipBytes(campaign, executable, false);
        damageBlobs(campaign, executable, bundles.donors());
    }
    damageMessages(campaign, SampleBundles::executable);
    signDifferently(campaign, SampleBundles::executable, sampleIdentity(), bundles.stranger());
    if (bundles.hasScript()) {
        damageAttributes(campaign, SampleBundles::script);
    }
    campaign.finish();
}

TEST(SampleDamageTest, NoEntryOfABundleCanBeOther) {
    const SampleBundles bundles(SampleBundles::Size::full);
    const DamageSubject subject = subjectOf(
        bundles, "full sample", 8,
        join({entryRules(), attributeRules(bundles.application()), applicationRules(), sampleEntryRules()}));
    DamageCampaign campaign(subject);
    damageEntries(campaign);
    exchangeFiles(campaign, bundles.donors());
    campaign.finish();
}

} // namespace

} // namespace InstallerCore
