#include "KavioInstaller/InstallerWindow.h"

#include <algorithm>

namespace InstallerCore {

namespace {

constexpr Rect introFrame{.x = 0, .y = 90, .width = 780, .height = 480};
constexpr Rect footerFrame{.x = 0, .y = 90, .width = 780, .height = 60};
constexpr Rect barFrame{.x = 36, .y = 62, .width = 708, .height = 8};
constexpr Rect percentageFrame{.x = 662, .y = 20, .width = 82, .height = 26};
constexpr Rect actionFrame{.x = 624, .y = 20, .width = 120, .height = 32};

struct StatusLook {
    Rect frame;
    double fontSize;
    bool isInMiddle;
};

constexpr StatusLook normalStatus{
    .frame = {.x = 36, .y = 20, .width = 620, .height = 26}, .fontSize = 17, .isInMiddle = false};
// Lower and narrower: room for the button, and for a sentence of two or three lines. A shorter one is beside
// the button, not above it.
constexpr StatusLook errorStatus{
    .frame = {.x = 36, .y = 14, .width = 570, .height = 56}, .fontSize = 15, .isInMiddle = true};

// Between a text and the button beside it.
constexpr double textGap = 12;

void apply(TextLabel& label, const StatusLook& look) {
    label.frame = look.frame;
    label.font = {.size = look.fontSize};
    label.isInMiddle = look.isInMiddle;
}

} // namespace

void InstallerWindow::layOut(bool isRightToLeft, const std::string& retry) {
    introFrame = InstallerCore::introFrame;
    footerFrame = InstallerCore::footerFrame;
    apply(label, normalStatus);
    label.alignment = isRightToLeft ? TextAlignment::right : TextAlignment::left;
    label.isRightToLeft = isRightToLeft;
    action.title = retry;
    action.frame = actionFrame;
    barFrame = InstallerCore::barFrame;
    bar.isIndeterminate = false;
    bar.minValue = 0;
    bar.maxValue = 100;
    percentage.frame = percentageFrame;
    percentage.alignment = TextAlignment::right;
    percentage.font = {.size = 17, .weight = FontWeight::regular, .monospacedDigits = true};
}

double InstallerWindow::labelTextWidth() const {
    const double besideButton = action.frame.x - textGap - label.frame.x;
    return action.isHidden ? label.frame.width : std::min(label.frame.width, besideButton);
}

std::string InstallerWindow::announcement() const {
    return action.canBePressed() ? label.text : std::string();
}

void InstallerWindow::setErrorPresentation(bool isError, const std::string& retry) {
    isBarHidden = isError;
    percentage.isHidden = isError;
    action.isHidden = !isError;
    apply(label, isError ? errorStatus : normalStatus);
    if (isError) {
        bar.removeActivity();
        action.title = retry;
        action.isEnabled = true;
    }
}

} // namespace InstallerCore
