#pragma once

#include "KavioInstaller/Drawing.h"
#include "artwork/IntroWords.h"

namespace InstallerCore::Artwork {

// The intro video as a function of time: the pages of the welcome picture come alive in turn, each four
// seconds. It begins, and so ends, as the first page at rest, which is what the window shows until the video
// plays: the one takes over from the other without a jump, and the loop has none either.
//
// Texts move sideways only. A painter keeps glyphs to whole pixels vertically, so that anything else would
// tremble.
class IntroAnimation {
public:
    static constexpr Size size{.width = 780, .height = 480}; // points
    static constexpr int framesPerSecond = 24;
    static constexpr int frameCount = 12 * framesPerSecond;

    // What is seen that many seconds after the video's begin. Any number: it goes on for ever both ways.
    [[nodiscard]] static Drawing at(double seconds, const IntroWords& words);
};

} // namespace InstallerCore::Artwork
