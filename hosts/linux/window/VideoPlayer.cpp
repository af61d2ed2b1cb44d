#include "hosts/linux/window/VideoPlayer.h"

#include "hosts/linux/window/VideoDecoder.h"
#include "hosts/linux/window/VideoLoop.h"

#include <QCoreApplication>
#include <QEvent>
#include <utility>

namespace InstallerCore {

VideoPlayer::VideoPlayer(std::filesystem::path file, QSize area, Show show)
    : show_(std::move(show)), thread_([this, file = std::move(file), area] { play(file, area); }) {}

VideoPlayer::~VideoPlayer() {
    clock_.stop();
    thread_.join();
}

void VideoPlayer::play(const std::filesystem::path& file, QSize area) {
    if (const auto video = VideoDecoder::open(file, area)) {
        loopVideo(*video, clock_, [this](const QImage& frame) { post(frame); });
    }
}

void VideoPlayer::post(const QImage& frame) {
    const std::scoped_lock lock(mutex_);
    const bool isPosted = latest_.has_value();
    latest_ = frame;
    if (!isPosted) {
        QCoreApplication::postEvent(this, new QEvent(QEvent::User)); // Qt's to delete, at the latest with us
    }
}

void VideoPlayer::customEvent(QEvent* /*event*/) {
    QImage frame;
    {
        const std::scoped_lock lock(mutex_);
        frame = *std::exchange(latest_, std::nullopt);
    }
    show_(frame);
}

} // namespace InstallerCore
