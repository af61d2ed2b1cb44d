#include "InstallerCore/config/BuildConfig.h"

#include "InstallerCore/config/Config.h"
#include "InstallerCore/support/Base64.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace InstallerCore {

namespace {

// For a build of the sample product, the default.
class SampleProductTest : public testing::Test {
protected:
    void SetUp() override {
        if (KAVIO_SAMPLE_PRODUCT == 0) {
            GTEST_SKIP() << "this is a build of another product";
        }
    }
};

TEST_F(SampleProductTest, HasTheSizeOfTheRealOne) {
    EXPECT_EQ(BuildConfig::json().size(), 351U);
    EXPECT_EQ(encodeBase64(BuildConfig::json()).size(), 468U);
}

TEST_F(SampleProductTest, HasFieldsOfTheRealLengths) {
    const Config config = Config::decode(BuildConfig::json());
    EXPECT_EQ(config.installerVersion, "1.0.0");
    ASSERT_EQ(config.allowedHosts.size(), 2U);
    const std::string& downloadHost = config.allowedHosts[0];
    const std::string& webHost = config.allowedHosts[1];
    EXPECT_EQ(downloadHost.size(), 17U);
    EXPECT_EQ(webHost.size(), 12U);
    EXPECT_EQ(config.channelURL, "https://" + downloadHost + "/desktop/mac/latest-mac.yml");
    EXPECT_EQ(config.channelURL.size(), 52U);
    EXPECT_EQ(config.offlineURL, "https://" + webHost + "/en/features/bot-free");
    EXPECT_EQ(config.offlineURL.size(), 41U);
    EXPECT_EQ(config.bundleID.size(), 16U);
    const auto areAllOf = [](const std::string& text, std::string_view alphabet) {
        return text.find_first_not_of(alphabet) == std::string::npos;
    };
    EXPECT_EQ(config.macTeamID.size(), 10U);
    EXPECT_TRUE(areAllOf(config.macTeamID, "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"));
    ASSERT_EQ(config.windowsSignerSHA256.size(), 1U);
    EXPECT_EQ(config.windowsSignerSHA256[0].size(), 64U);
    EXPECT_TRUE(areAllOf(config.windowsSignerSHA256[0], "0123456789abcdef"));
}

// Nobody owns a name there, so a sample that gets out reaches no one.
TEST_F(SampleProductTest, IsUnderAReservedDomain) {
    for (const std::string& host : Config::decode(BuildConfig::json()).allowedHosts) {
        EXPECT_TRUE(host.ends_with(".test")) << host;
    }
}

TEST(BuildConfigTest, TheConfigurationIsCompactAndInOrder) {
    const Bytes& json = BuildConfig::json();
    EXPECT_EQ(Config::decode(json).encode(), json);
    EXPECT_EQ(std::count(json.begin(), json.end(), std::byte{' '}), 0);
}

TEST(BuildConfigTest, ItsAddressesAreTrusted) {
    const Config config = Config::decode(BuildConfig::json());
    EXPECT_EQ(config.url(config.channelURL).text(), config.channelURL);
    EXPECT_EQ(config.url(config.offlineURL).text(), config.offlineURL);
}

TEST(BuildConfigTest, TheConfigurationIsDecodedOnce) {
    EXPECT_EQ(&BuildConfig::json(), &BuildConfig::json());
}

TEST(BuildConfigTest, TheInstallersIdentifierIsDerivedFromTheApplications) {
    EXPECT_EQ(BuildConfig::installerIdentifier, Config::decode(BuildConfig::json()).bundleID + ".installer");
}

} // namespace

} // namespace InstallerCore
