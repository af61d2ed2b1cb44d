#pragma once

#include "KavioInstaller/VideoIntroView.h"

#include <QImage>
#include <QPixmap>
#include <QWidget>
#include <memory>

namespace InstallerCore {

class VideoPlayer;

// The intro area. The video plays while it is in sight; until its first frame, and where there is none, the
// picture is drawn.
class IntroWidget final : public QWidget {
public:
    explicit IntroWidget(QWidget* parent);
    ~IntroWidget() override;

    void setView(const VideoIntroView& view);

    [[nodiscard]] bool isVideoReady() const { return !frame_.isNull(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void startVideo();
    void paintFallback(QPainter& painter);

    VideoIntroView view_;
    QImage frame_;    // the video's, null until it is ready
    QPixmap picture_; // the fallback as drawn last
    std::unique_ptr<VideoPlayer> player_;
};

} // namespace InstallerCore
