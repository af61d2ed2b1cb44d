#include "KavioInstaller/InstallerWindow.h"
#include "hosts/linux/LanguagesLinux.h"
#include "hosts/linux/window/InstallerWindowQt.h"
#include "hosts/linux/window/LaidOutText.h"
#include "hosts/linux/window/QtValues.h"
#include "tests/hosts/linux/window/ShippedCatalog.h"

#include <gtest/gtest.h>

#include <QFontMetricsF>
#include <QPushButton>

namespace InstallerCore {
namespace {

using Testing::ShippedCatalog;
using Testing::shippedCatalog;

constexpr int mostErrorLines = 3;
constexpr double buttonPadding = 10;

InstallerWindow window(const std::string& language, bool isError) {
    InstallerWindow result;
    result.layOut(Testing::isRightToLeft(language), "Retry");
    result.setErrorPresentation(isError, "Retry");
    return result;
}

LaidOutText laidOut(const TextLabel& label, const std::string& text, double width) {
    return {toQt(text),
            {.font = toQt(label.font),
             .monospacedDigits = label.font.monospacedDigits,
             .wraps = label.wraps,
             .direction = label.isRightToLeft ? Qt::RightToLeft : Qt::LeftToRight},
            width};
}

// Calls with language, message and text.
template <typename Call>
void forEachText(const Call& call) {
    const ShippedCatalog catalog = shippedCatalog();
    ASSERT_GE(catalog.size(), 30U);
    for (const auto& [language, texts] : catalog) {
        for (const auto& [message, text] : texts) {
            call(language, message, text);
        }
    }
}

TEST(LanguageFitTest, EachStatusIsOneLineOfItsFrame) {
    forEachText([](const std::string& language, InstallerMessage message, const std::string& text) {
        if (Testing::isError(message) || message == InstallerMessage::retry) {
            return;
        }
        const InstallerWindow normal = window(language, false);
        const LaidOutText lines = laidOut(normal.label, text, normal.label.frame.width);
        EXPECT_EQ(lines.lineCount(), 1) << language << ": " << text;
        EXPECT_LE(lines.height(), normal.label.frame.height) << language << ": " << text;
    });
}

TEST(LanguageFitTest, ThePausedTextEndsBeforeTheButton) {
    forEachText([](const std::string& language, InstallerMessage message, const std::string& text) {
        if (message != InstallerMessage::paused) {
            return;
        }
        InstallerWindow paused = window(language, false);
        paused.action.isHidden = false;
        const double width = paused.labelTextWidth();
        ASSERT_LT(paused.label.frame.x + width, paused.action.frame.x);
        EXPECT_EQ(laidOut(paused.label, text, width).lineCount(), 1) << language << ": " << text;
    });
}

TEST(LanguageFitTest, EachErrorFitsItsFrameInThreeLines) {
    forEachText([](const std::string& language, InstallerMessage message, const std::string& text) {
        if (!Testing::isError(message)) {
            return;
        }
        const InstallerWindow error = window(language, true);
        const LaidOutText lines = laidOut(error.label, text, error.label.frame.width);
        EXPECT_LE(lines.lineCount(), mostErrorLines) << language << ": " << text;
        EXPECT_LE(lines.height(), error.label.frame.height) << language << ": " << text;
        EXPECT_LE(lines.bounds().width(), error.label.frame.width) << language << ": " << text;
    });
}

TEST(LanguageFitTest, TheButtonHasRoomForItsTitle) {
    InstallerWindowQt qt({.shouldClose = [] { return true; }, .action = [] {}});
    const auto* button = qt.findChild<QPushButton*>();
    ASSERT_NE(button, nullptr);
    button->ensurePolished();
    const QFontMetricsF metrics(button->font());
    forEachText([&](const std::string& language, InstallerMessage message, const std::string& text) {
        if (message == InstallerMessage::retry) {
            EXPECT_LE(metrics.horizontalAdvance(toQt(text)), 120 - 2 * buttonPadding)
                << language << ": " << text;
        }
    });
}

TEST(LanguageFitTest, EachPercentageFitsItsFrame) {
    const LanguagesLinux languages;
    for (const auto& [language, texts] : shippedCatalog()) {
        const TextLabel label = window(language, false).percentage;
        for (const double fraction : {0.0, 0.375, 0.888, 1.0}) {
            const std::string text = languages.percent(fraction, language);
            const LaidOutText line = laidOut(label, text, label.frame.width);
            EXPECT_FALSE(text.empty()) << language;
            EXPECT_FALSE(line.hasMissingLetters()) << language << ": " << text;
            EXPECT_LE(line.bounds().width(), label.frame.width) << language << ": " << text;
            EXPECT_LE(line.height(), label.frame.height) << language << ": " << text;
        }
    }
}

TEST(LanguageFitTest, EachTextHasLettersInTheFonts) {
    forEachText([](const std::string& language, InstallerMessage /*message*/, const std::string& text) {
        const LaidOutText lines = laidOut(window(language, false).label, text, 10000);
        EXPECT_FALSE(lines.hasMissingLetters()) << language << ": " << text;
    });
}

} // namespace
} // namespace InstallerCore
