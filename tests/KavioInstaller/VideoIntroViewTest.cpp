#include "KavioInstaller/VideoIntroView.h"

#include <gtest/gtest.h>

#include <map>

namespace InstallerCore {
namespace {

class VideoIntroViewTest : public testing::Test, public Resources {
protected:
    std::optional<std::filesystem::path> find(const std::string& name,
                                              const std::string& extension) const override {
        const auto found = files.find(name + "." + extension);
        return found == files.end() ? std::nullopt : std::optional(found->second);
    }

    std::map<std::string, std::filesystem::path> files = {{"intro-en.mp4", "/videos/english.mp4"},
                                                          {"intro-ja.mp4", "/videos/japanese.mp4"}};
};

TEST_F(VideoIntroViewTest, ChoosesTheVideoByThePieceThatTheFirstLanguageBeginsWith) {
    const std::vector<std::pair<std::vector<std::string>, const char*>> cases = {
        {{"ja"}, "intro-ja"},
        {{"ja-JP"}, "intro-ja"},
        {{"ja_JP"}, "intro-ja"},
        {{"jA"}, "intro-ja"},
        {{"JA-jp"}, "intro-ja"},
        {{"-ja"}, "intro-ja"}, // empty pieces are dropped
        {{"__-ja_JP"}, "intro-ja"},
        {{"ja-"}, "intro-ja"},
        {{"ja-JP", "en"}, "intro-ja"},
        {{"en-GB"}, "intro-en"},
        {{"zh-Hans"}, "intro-en"},
        {{}, "intro-en"},
        {{""}, "intro-en"},
        {{"-"}, "intro-en"},
        {{"jav"}, "intro-en"},
        {{"j"}, "intro-en"},
        {{"en-JA"}, "intro-en"},
        {{"en", "ja-JP"}, "intro-en"}, // the first one decides
        {{"", "ja-JP"}, "intro-en"},
        {{"ja JP"}, "intro-en"},
    };
    for (const auto& [languages, name] : cases) {
        EXPECT_EQ(VideoIntroView::resourceName(languages), name) << testing::PrintToString(languages);
    }
}

TEST_F(VideoIntroViewTest, PlaysTheVideoOfTheFirstLanguage) {
    EXPECT_EQ(VideoIntroView::make({"ja-JP", "en-US"}, *this).video, "/videos/japanese.mp4");
    EXPECT_EQ(VideoIntroView::make({"de-DE", "ja-JP"}, *this).video, "/videos/english.mp4");
    EXPECT_EQ(VideoIntroView::make({}, *this).video, "/videos/english.mp4");
}

TEST_F(VideoIntroViewTest, HasThePictureAloneWithoutTheVideo) {
    files.erase("intro-ja.mp4");
    const auto view = VideoIntroView::make({"ja-JP"}, *this);
    EXPECT_EQ(view.video, std::nullopt); // and not the other one
    EXPECT_EQ(view.fallback, WelcomeView());
}

TEST_F(VideoIntroViewTest, AlwaysHasTheFirstPageBehindIt) {
    EXPECT_EQ(VideoIntroView::make({"en"}, *this).fallback.page, 0U);
}

} // namespace
} // namespace InstallerCore
