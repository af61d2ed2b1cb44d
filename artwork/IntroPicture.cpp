#include "artwork/IntroPicture.h"

#include "artwork/IntroAnimation.h"
#include "hosts/linux/window/DrawingPainter.h"

#include <QPainter>

namespace InstallerCore::Artwork {

QImage introPicture(int frame, const IntroWords& words) {
    QImage image(static_cast<int>(IntroAnimation::size.width), static_cast<int>(IntroAnimation::size.height),
                 QImage::Format_RGB32);
    QPainter painter(&image);
    paint(painter, IntroAnimation::at(1.0 * frame / IntroAnimation::framesPerSecond, words));
    return image;
}

} // namespace InstallerCore::Artwork
