#include "InstallerCore/localization/InstallerLocalization.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

namespace InstallerCore {

namespace {

// The instance lasts as long as the process, so each test is a process of its own.
class LiveLocalizationTest : public testing::Test {
protected:
    void writeCatalog(const std::string& content) const { Testing::writeFile(file_, content); }

    Testing::TestPlatform test_;

private:
    void SetUp() override {
        test_.resources.paths["installer-locales.json"] = file_;
        test_.languages.tags = {"xx", "de-AT", "en-US"};
    }

    std::filesystem::path file_ = test_.home / "installer-locales.json";
};

TEST_F(LiveLocalizationTest, IsOfTheResourceAndTheUsersLanguages) {
    writeCatalog(R"({"de-DE": {"common_retry": "Wiederholen"}, "en-US": {"common_retry": "Retry"}})");
    Testing::runInChild([this] {
        const auto& strings = InstallerLocalization::live(test_.platform);
        EXPECT_EQ(strings.language, "de-DE");
        EXPECT_EQ(strings.text(InstallerMessage::retry), "Wiederholen");
        EXPECT_EQ(strings.percent(0.5), "50.0%");
    });
}

TEST_F(LiveLocalizationTest, NeverChangesOnceItIsMade) {
    writeCatalog(R"({"de-DE": {"common_retry": "Wiederholen"}})");
    Testing::runInChild([this] {
        const auto& first = InstallerLocalization::live(test_.platform);
        writeCatalog(R"({"fr-FR": {"common_retry": "Autre"}})");
        test_.languages.tags = {"fr-FR"};
        const Testing::TestPlatform other;
        EXPECT_EQ(&InstallerLocalization::live(other.platform), &first);
        EXPECT_EQ(first.language, "de-DE");
        EXPECT_EQ(first.text(InstallerMessage::retry), "Wiederholen");
    });
}

TEST_F(LiveLocalizationTest, IsBuiltInEnglishWithoutACatalog) {
    Testing::runInChild([this] {
        const auto& strings = InstallerLocalization::live(test_.platform);
        EXPECT_EQ(strings.language, "en-US");
        EXPECT_TRUE(strings.catalog.empty());
        for (const InstallerMessage message : allInstallerMessages) {
            EXPECT_EQ(strings.text(message), englishText(message));
        }
        EXPECT_TRUE(test_.log.lines().empty());
    });
}

TEST_F(LiveLocalizationTest, IsMadeOnceForAllThreads) {
    writeCatalog(R"({"de-DE": {"common_retry": "Wiederholen"}})");
    Testing::runInChild([this] {
        std::array<const InstallerLocalization*, 8> seen{};
        {
            std::array<std::thread, seen.size()> threads;
            for (std::size_t i = 0; i < threads.size(); ++i) {
                threads[i] = std::thread([&, i] { seen[i] = &InstallerLocalization::live(test_.platform); });
            }
            for (auto& thread : threads) {
                thread.join();
            }
        }
        for (const auto* instance : seen) {
            EXPECT_EQ(instance, seen[0]);
        }
        EXPECT_EQ(seen[0]->text(InstallerMessage::retry), "Wiederholen");
    });
}

} // namespace

} // namespace InstallerCore
