#include "hosts/linux/window/WindowApplication.h"

#include "KavioInstaller/InstallerWindow.h"
#include "hosts/linux/window/QtValues.h"

#include <QApplication>
#include <QMessageBox>
#include <QPalette>
#include <QStyleFactory>

namespace InstallerCore {

namespace {

constexpr Font applicationFont{.size = 14};

QPalette lightPalette() {
    const QColor background = toQt(InstallerWindow::background);
    const QColor text = toQt(Color::gray(0.16));
    const QColor gray = toQt(Color::gray(0.6));
    QPalette palette(text, toQt(Color::gray(0.96)), Qt::white, toQt(Color::gray(0.75)), gray, text, Qt::white,
                     Qt::white, background);
    palette.setColor(QPalette::Highlight, toQt(Color{.red = 0.04, .green = 0.48, .blue = 1}));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, gray);
    return palette;
}

} // namespace

void WindowApplication::setUp() {
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(lightPalette());
    QApplication::setFont(toQt(applicationFont));
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setApplicationDisplayName(QString::fromUtf8(InstallerWindow::title));
}

void WindowApplication::runAlert(const std::string& message) {
    QMessageBox alert;
    alert.setWindowTitle(QString::fromUtf8(InstallerWindow::title));
    alert.setTextFormat(Qt::PlainText);
    alert.setText(toQt(message));
    alert.setWindowFlag(Qt::WindowStaysOnTopHint);
    alert.exec();
}

void WindowApplication::beep() {
    QApplication::beep();
}

} // namespace InstallerCore
