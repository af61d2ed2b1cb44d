#pragma once

#include "KavioInstaller/DownloadProgressView.h"
#include "KavioInstaller/Geometry.h"
#include "KavioInstaller/InstallerFooterBlend.h"
#include "KavioInstaller/VideoIntroView.h"

#include <array>
#include <cstdint>
#include <string>

namespace InstallerCore {

struct TextLabel {
    std::string text;
    Rect frame;
    Font font;
    TextAlignment alignment = TextAlignment::left;
    bool isRightToLeft = false; // the base direction of writing
    bool wraps = false;
    bool isInMiddle = false; // of the frame's height; else the text begins at the frame's top
    bool isHidden = false;

    friend bool operator==(const TextLabel&, const TextLabel&) = default;
};

struct PushButton {
    std::string title;
    Rect frame;
    bool isEnabled = true;
    bool isHidden = false;

    // By its key too.
    [[nodiscard]] bool canBePressed() const { return isEnabled && !isHidden; }

    friend bool operator==(const PushButton&, const PushButton&) = default;
};

// The installer's one window as a value: what a host shows, all of it, each time it is given one. Frames are
// in points in the window's content, the origin at its bottom left. Return presses the button.
struct InstallerWindow {
    static constexpr const char* title = "Kavio Installer";
    static constexpr Size contentSize{.width = 780, .height = 570};
    static constexpr Color background = Color::gray(1);

    // From the one at the back to the one in front.
    enum class View : std::uint8_t { intro, footer, label, bar, percentage, action };
    static constexpr std::array<View, 6> order = {View::intro, View::footer,     View::label,
                                                  View::bar,   View::percentage, View::action};

    VideoIntroView intro;
    Rect introFrame;
    Rect footerFrame;
    TextLabel label{.wraps = true}; // the status line
    DownloadProgressView bar;
    Rect barFrame;
    bool isBarHidden = false;
    TextLabel percentage;
    PushButton action;

    // As it is built: every frame, font and alignment in place, for a language of that direction.
    void layOut(bool isRightToLeft, const std::string& retry);

    // How much of the status line's frame, from its left edge, the text keeps to: what a visible button does
    // not cover.
    [[nodiscard]] double labelTextWidth() const;

    // The bar's name to a screen reader: what it is the progress of.
    [[nodiscard]] const std::string& barName() const { return label.text; }

    // What a screen reader says without being asked: the status at which only the button leads on. Empty
    // while there is none.
    [[nodiscard]] std::string announcement() const;

    // Switches between the look while work runs and the one for an error.
    void setErrorPresentation(bool isError, const std::string& retry);
};

} // namespace InstallerCore
