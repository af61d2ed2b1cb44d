// Draws the frames of an intro video, as the window would, and writes them to its output one after another:
// 780 x 480 pixels of four bytes each, blue, green, red and one unused. Usage: draw-intro LANGUAGE
#include "artwork/IntroAnimation.h"
#include "artwork/IntroPicture.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <cstdio>
#include <iostream>

using namespace InstallerCore::Artwork;

namespace {

bool writeFrames(const IntroWords& words) {
    for (int frame = 0; frame < IntroAnimation::frameCount; ++frame) {
        const QImage image = introPicture(frame, words);
        const auto size = static_cast<std::size_t>(image.sizeInBytes());
        if (std::fwrite(image.constBits(), 1, size, stdout) != size) {
            return false;
        }
    }
    return std::fflush(stdout) == 0;
}

} // namespace

int main(int count, char** arguments) {
    const auto words = count == 2 ? IntroWords::in(arguments[1]) : std::nullopt;
    if (!words) {
        std::cerr << "usage: draw-intro en|ja\n";
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(count, arguments);
    // Made for Japanese, with a bold face: finer than what the window has to make do with.
    QFont::insertSubstitution(QStringLiteral("Inter"), QStringLiteral("Noto Sans CJK JP"));
    if (!writeFrames(*words)) {
        std::perror("draw-intro");
        return 1;
    }
    return 0;
}
