#include "KavioInstaller/Announcements.h"

#include <gtest/gtest.h>

namespace InstallerCore {
namespace {

std::optional<ProgressValue> drawn(std::optional<double> number) {
    return ProgressValue{.number = number};
}

TEST(ProgressAnnouncementsTest, TellsWhatHasChangedAndKeepsWhatIsNotDrawn) {
    struct Case {
        std::optional<ProgressValue> drawn;
        bool isTold;
        std::optional<double> value;
    };

    const Case cases[] = {
        {drawn(std::nullopt), false, std::nullopt}, // as at the beginning
        {drawn(37.5), true, 37.5},
        {drawn(37.5), false, 37.5},
        {std::nullopt, false, 37.5},
        {drawn(0), true, 0},
        {drawn(std::nullopt), true, std::nullopt},
        {drawn(std::nullopt), false, std::nullopt},
        {drawn(0), true, 0},
    };
    ProgressAnnouncements announcements;
    EXPECT_EQ(announcements.value(), std::nullopt);
    for (const Case& one : cases) {
        SCOPED_TRACE(&one - cases);
        EXPECT_EQ(announcements.take(one.drawn), one.isTold);
        EXPECT_EQ(announcements.value(), one.value);
    }
}

TEST(StatusAnnouncementsTest, TellsEachFailureOnceTheSameAgainIncluded) {
    struct Case {
        const char* status;
        bool canBePressed;
        bool isTold;
    };

    const Case cases[] = {
        {"", true, false}, // as it is built
        {"No connection.", true, true},
        {"No connection.", true, false},
        {"No space.", true, true},
        {"Checking", false, false},
        {"Downloading", false, false},
        {"No space.", true, true},
        {"No space.", false, false}, // tried again, with the sentence in place
        {"No space.", true, true},
    };
    StatusAnnouncements announcements;
    InstallerWindow window;
    for (const Case& one : cases) {
        window.label.text = one.status;
        window.action.isEnabled = one.canBePressed;
        EXPECT_EQ(announcements.take(window), one.isTold) << &one - cases << ' ' << one.status;
    }
}

} // namespace
} // namespace InstallerCore
