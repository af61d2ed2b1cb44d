#pragma once

#include <QImage>
#include <functional>

namespace InstallerCore {

class PlaybackClock;
class VideoDecoder;

// Presents each frame at its time, from the first to the last and again, until the clock says that it is to
// end. Returns at once when there is not a single frame. What comes too late by much (the machine slept) is
// not hurried after.
void loopVideo(VideoDecoder& video, PlaybackClock& clock, const std::function<void(const QImage&)>& present);

} // namespace InstallerCore
