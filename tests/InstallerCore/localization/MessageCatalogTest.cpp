#include "InstallerCore/localization/MessageCatalog.h"

#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>

namespace InstallerCore {

namespace {

class MessageCatalogTest : public testing::Test {
protected:
    MessageCatalog readOf(const std::string& content) {
        Testing::writeFile(file_, content);
        return readMessageCatalog(test_.resources, test_.files);
    }

    Testing::TestPlatform test_;
    std::filesystem::path file_ = test_.home / "installer-locales.json";

private:
    void SetUp() override { test_.resources.paths["installer-locales.json"] = file_; }
};

TEST_F(MessageCatalogTest, HasEveryLanguageAndEveryTextOfTheFile) {
    const MessageCatalog expected{
        {"", {{"", ""}}},
        {"EN-us", {{"common_retry", "Retry"}, {"of_no_use", "x"}}},
        {"de-DE", {{"common_retry", "Wiederholen"}, {"desktop_installer_opening", "\u00D6ffnen\u2026"}}},
        {"fr-FR", {}},
    };
    EXPECT_EQ(readOf(R"({"de-DE": {"common_retry": "Wiederholen",
                                   "desktop_installer_opening": "Öffnen\u2026"},
                         "EN-us": {"common_retry": "Retry", "of_no_use": "x"},
                         "fr-FR": {}, "": {"": ""}})"),
              expected);
}

TEST_F(MessageCatalogTest, AnyOtherShapeMakesTheWholeCatalogEmpty) {
    for (const char* content : {
             "",
             " ",
             "{",
             "null",
             "[]",
             "\"de-DE\"",
             R"({"de-DE": {"common_retry": "a"}} {})",
             R"({"de-DE": {"common_retry": "a"}, "fr-FR": []})",
             R"({"de-DE": {"common_retry": "a"}, "fr-FR": null})",
             R"({"de-DE": {"common_retry": "a"}, "fr-FR": "b"})",
             R"({"de-DE": {"common_retry": "a", "x": null}})",
             R"({"de-DE": {"common_retry": "a", "x": 1}})",
             R"({"de-DE": {"common_retry": "a", "x": ["b"]}})",
             R"({"de-DE": {"common_retry": "a", "x": {"y": "b"}}})",
             "{\"de-DE\": {\"common_retry\": \"\xFF\"}}",
             R"({"de-DE": {"common_retry": "\ud800"}})",
             R"({"de-DE": {"common_retry": "a"},})",
         }) {
        EXPECT_TRUE(readOf(content).empty()) << content;
    }
}

TEST_F(MessageCatalogTest, EmptyWithoutAResource) {
    test_.resources.paths.clear();
    EXPECT_TRUE(readMessageCatalog(test_.resources, test_.files).empty());
}

TEST_F(MessageCatalogTest, EmptyWhenTheFileHasGone) {
    EXPECT_TRUE(readMessageCatalog(test_.resources, test_.files).empty());
}

TEST_F(MessageCatalogTest, EmptyWhenThereIsNoFileToRead) {
    std::filesystem::create_directory(file_);
    EXPECT_TRUE(readMessageCatalog(test_.resources, test_.files).empty());
    std::filesystem::remove(file_);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_TRUE(readMessageCatalog(test_.resources, test_.files).empty());
}

// Sixteen mebibytes are read, a byte more is not.
TEST_F(MessageCatalogTest, EndlessFileIsNotRead) {
    const std::string start = R"({"de-DE": {}})";
    EXPECT_EQ(readOf(start + std::string(16'777'216 - start.size(), ' ')).size(), 1U);
    EXPECT_TRUE(readOf(start + std::string(16'777'217 - start.size(), ' ')).empty());
}

TEST_F(MessageCatalogTest, NothingIsReported) {
    EXPECT_TRUE(readOf("{").empty());
    test_.resources.paths.clear();
    EXPECT_TRUE(readMessageCatalog(test_.resources, test_.files).empty());
    EXPECT_TRUE(test_.log.lines().empty());
}

} // namespace

} // namespace InstallerCore
