// Draws the application's icon in all sizes into a file as a Mac reads it. Usage: draw-icon FILE
#include "artwork/IconFile.h"

#include <QFile>
#include <QGuiApplication>
#include <iostream>

int main(int count, char** arguments) {
    using namespace InstallerCore::Artwork;
    if (count != 2) {
        std::cerr << "usage: draw-icon FILE\n";
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(count, arguments);
    QFile file(QFile::decodeName(arguments[1]));
    const QByteArray content = iconFile();
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush()) {
        std::cerr << "draw-icon: " << file.errorString().toStdString() << '\n';
        return 1;
    }
    return 0;
}
