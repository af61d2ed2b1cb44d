#include "hosts/linux/window/WindowApplication.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QStyle>
#include <QTimer>

namespace InstallerCore {
namespace {

TEST(WindowApplicationTest, LooksTheSameLightWayOnEachDesktop) {
    EXPECT_EQ(QApplication::style()->name(), QStringLiteral("fusion"));
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(Qt::white));
    EXPECT_LT(QApplication::palette().color(QPalette::WindowText).lightness(), 60);
    EXPECT_EQ(QApplication::palette().color(QPalette::Base), QColor(Qt::white));
}

TEST(WindowApplicationTest, DoesNotEndWithItsLastWindow) {
    EXPECT_FALSE(QApplication::quitOnLastWindowClosed());
}

TEST(WindowApplicationTest, HasNoWindowByItself) {
    EXPECT_TRUE(QApplication::topLevelWindows().isEmpty());
}

TEST(WindowApplicationTest, AlertsWithTheMessageAloneAndWaitsForItsDismissal) {
    int seen = 0;
    QTimer::singleShot(0, [&] {
        const auto* alert = dynamic_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(alert, nullptr);
        ++seen;
        EXPECT_EQ(alert->text(), QStringLiteral("<b>Unable</b> to continue. Please retry…"));
        EXPECT_EQ(alert->textFormat(), Qt::PlainText);
        EXPECT_EQ(alert->informativeText(), QString());
        EXPECT_EQ(alert->detailedText(), QString());
        EXPECT_EQ(alert->windowTitle(), QStringLiteral("Kavio Installer"));
        EXPECT_TRUE(alert->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        ASSERT_EQ(alert->buttons().size(), 1);
        alert->buttons().front()->click();
    });
    WindowApplication::runAlert("<b>Unable</b> to continue. Please retry…");
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

} // namespace
} // namespace InstallerCore
