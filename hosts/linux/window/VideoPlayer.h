#pragma once

#include "hosts/linux/window/PlaybackClock.h"

#include <QImage>
#include <QObject>
#include <QSize>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace InstallerCore {

// Plays a video for ever on a thread of its own, from its construction to its destruction, which waits for no
// more than the frame in work. A file that cannot be played never gives a frame.
class VideoPlayer final : public QObject {
public:
    using Show = std::function<void(const QImage&)>;

    // The area is in pixels. Frames are given on the thread that constructs and destroys the player, through
    // its event loop; one that was not fetched in time makes way for the next.
    VideoPlayer(std::filesystem::path file, QSize area, Show show);
    VideoPlayer(const VideoPlayer&) = delete;
    VideoPlayer& operator=(const VideoPlayer&) = delete;
    ~VideoPlayer() override;

protected:
    void customEvent(QEvent* event) override; // there is a frame to show

private:
    void play(const std::filesystem::path& file, QSize area);
    void post(const QImage& frame);

    Show show_;
    SteadyPlaybackClock clock_;
    std::mutex mutex_;
    std::optional<QImage> latest_; // posted and not yet shown
    std::thread thread_;
};

} // namespace InstallerCore
