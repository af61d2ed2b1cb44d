#pragma once

#include <QImage>
#include <QSize>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace InstallerCore {

struct VideoFrame {
    QImage image;
    std::chrono::nanoseconds time;     // since the video's first frame; never before the frame before
    std::chrono::nanoseconds duration; // more than none
};

// The pictures of an MP4 file in order, scaled to fit an area with their aspect kept. Sound is not decoded.
// Used by one thread at a time.
class VideoDecoder {
public:
    // In pixels. Null when the file is missing or is no video that can be decoded.
    [[nodiscard]] static std::unique_ptr<VideoDecoder> open(const std::filesystem::path& file, QSize area);

    VideoDecoder(const VideoDecoder&) = delete;
    VideoDecoder& operator=(const VideoDecoder&) = delete;
    ~VideoDecoder();

    // Absent at the end, which is where the file is broken too.
    [[nodiscard]] std::optional<VideoFrame> next();

    // Back to the first frame; false when the file does not allow it.
    [[nodiscard]] bool rewind();

private:
    struct State;

    explicit VideoDecoder(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace InstallerCore
