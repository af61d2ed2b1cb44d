#include "hosts/linux/window/InstallerWindowQt.h"
#include "hosts/linux/window/QtValues.h"
#include "hosts/linux/window/WindowApplication.h"
#include "tests/hosts/linux/window/ShippedCatalog.h"
#include "tests/hosts/linux/window/WindowStates.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <cstdio>
#include <map>
#include <string>

// window-gallery DIRECTORY: pictures for looking at, of the window in each of its states and of the widest
// text of each language. Needs no display.

using namespace InstallerCore;

namespace {

InstallerWindow withPage(std::size_t page) {
    InstallerWindow window = Testing::downloadingWindow();
    window.intro.fallback.page = page;
    return window;
}

const std::map<std::string, InstallerWindow (*)()> states = {
    {"checking", Testing::checkingWindow},
    {"downloading", Testing::downloadingWindow},
    {"installing", Testing::installingWindow},
    {"error", Testing::errorWindow},
    {"paused", Testing::pausedWindow},
    {"arabic-downloading", Testing::arabicDownloadingWindow},
    {"arabic-error", Testing::arabicErrorWindow},
    {"arabic-paused", Testing::arabicPausedWindow},
    {"second-page", [] { return withPage(1); }},
    {"third-page", [] { return withPage(2); }},
};

QImage picture(QWidget& window, int scale) {
    QImage image(window.size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    window.render(&image);
    return image;
}

// What lies below the intro, for the widest text of the language in that look.
QImage strip(InstallerWindowQt& qt, const std::string& language, bool isError) {
    constexpr QRect below(0, 490, 780, 80);
    const auto texts = Testing::shippedCatalog().at(language);
    const std::string retry = texts.at(InstallerMessage::retry);
    InstallerWindow window;
    window.layOut(Testing::isRightToLeft(language), retry);
    window.setErrorPresentation(isError, retry);
    window.action.isHidden = false;
    const QFontMetricsF metrics(toQt(window.label.font));
    const auto width = [&](const auto& entry) { return metrics.horizontalAdvance(toQt(entry.second)); };
    for (const auto& entry : texts) {
        if (Testing::isError(entry.first) == isError &&
            width(entry) >= metrics.horizontalAdvance(toQt(window.label.text))) {
            window.label.text = entry.second;
        }
    }
    qt.setValue(window);
    return picture(qt, 1).copy(below);
}

// A sheet of all languages in that look.
QImage sheet(bool isError) {
    constexpr int columns = 3;
    constexpr QSize cell(780, 80);
    InstallerWindowQt qt({.shouldClose = [] { return true; }, .action = [] {}});
    const auto catalog = Testing::shippedCatalog();
    const int rows = (static_cast<int>(catalog.size()) + columns - 1) / columns;
    QImage image(cell.width() * columns, cell.height() * rows, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    int index = 0;
    for (const auto& [language, texts] : catalog) {
        const QPoint at(index % columns * cell.width(), index / columns * cell.height());
        painter.drawImage(at, strip(qt, language, isError));
        painter.drawText(at + QPoint(4, 12), toQt(language));
        ++index;
    }
    return image;
}

bool save(const QImage& image, const std::string& file) {
    return image.save(QString::fromStdString(file));
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: window-gallery DIRECTORY\n", stderr);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(count, arguments);
    WindowApplication::setUp();
    const std::string directory = std::string(arguments[1]) + "/";
    bool isSaved = true;
    for (const auto& [name, make] : states) {
        InstallerWindowQt window({.shouldClose = [] { return true; }, .action = [] {}});
        window.setValue(make());
        window.orderFront();
        isSaved = save(picture(window, 1), directory + name + ".png") && isSaved;
        isSaved = save(picture(window, 2), directory + name + "@2x.png") && isSaved;
    }
    isSaved = save(sheet(false), directory + "languages.png") && isSaved;
    isSaved = save(sheet(true), directory + "languages-error.png") && isSaved;
    return isSaved ? 0 : 1;
}
