#include "artwork/IntroWords.h"

#include <algorithm>
#include <array>

namespace InstallerCore::Artwork {

namespace {

struct Entry {
    std::string_view english;
    std::string_view japanese;
};

// The labels stand for the people who speak: m for Mori, w for Watanabe.
constexpr std::array<Entry, 11> entries = {{
    {.english = "Stay in the conversation.", .japanese = "会話に、\n集中できる。"},
    {.english = "Capture your meetings with Kavio.", .japanese = "Kavioが会議を記録します。"},
    {.english = "Meeting transcript", .japanese = "会議の文字起こし"},
    {.english = "From conversation\nto clarity.", .japanese = "会話から、\n要点へ。"},
    {.english = "Turn meeting transcripts into AI summaries.", .japanese = "文字起こしをAIが要約します。"},
    {.english = "AI summary", .japanese = "AI要約"},
    {.english = "Find the moments\nthat matter.", .japanese = "大切な瞬間が、\nすぐ見つかる。"},
    {.english = "Review your transcripts, all in one place.",
     .japanese = "文字起こしをまとめて振り返れます。"},
    {.english = "Search your meetings", .japanese = "会議を検索"},
    {.english = "m", .japanese = "森"},
    {.english = "w", .japanese = "渡"},
}};

} // namespace

std::optional<IntroWords> IntroWords::in(std::string_view language) {
    if (language != "en" && language != "ja") {
        return std::nullopt;
    }
    return IntroWords(language == "ja");
}

std::string IntroWords::operator()(const std::string& english) const {
    const auto* const entry =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return e.english == english; });
    return isJapanese_ && entry != entries.end() ? std::string(entry->japanese) : english;
}

} // namespace InstallerCore::Artwork
