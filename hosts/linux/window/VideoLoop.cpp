#include "hosts/linux/window/VideoLoop.h"

#include "hosts/linux/window/PlaybackClock.h"
#include "hosts/linux/window/VideoDecoder.h"

#include <algorithm>
#include <optional>

namespace InstallerCore {

namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds tolerance = std::chrono::milliseconds(250);

// From the first frame to the last; when the next round begins, absent when there is to be none.
std::optional<nanoseconds> playOnce(VideoDecoder& video, PlaybackClock& clock, nanoseconds begin,
                                    const std::function<void(const QImage&)>& present) {
    std::optional<nanoseconds> end;
    while (const auto frame = video.next()) {
        begin = std::max(begin, clock.now() - tolerance - frame->time);
        if (!clock.waitUntil(begin + frame->time)) {
            return std::nullopt;
        }
        present(frame->image);
        end = begin + frame->time + frame->duration;
    }
    return end;
}

} // namespace

void loopVideo(VideoDecoder& video, PlaybackClock& clock, const std::function<void(const QImage&)>& present) {
    std::optional<nanoseconds> begin = clock.now();
    do {
        begin = playOnce(video, clock, *begin, present);
    } while (begin && clock.waitUntil(*begin) && video.rewind());
}

} // namespace InstallerCore
