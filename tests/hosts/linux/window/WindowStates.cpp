#include "tests/hosts/linux/window/WindowStates.h"

namespace InstallerCore::Testing {

namespace {

InstallerWindow english() {
    InstallerWindow window;
    window.layOut(false, "Retry");
    window.setErrorPresentation(false, "Retry");
    return window;
}

InstallerWindow arabic() {
    InstallerWindow window;
    window.layOut(true, "إعادة المحاولة");
    window.setErrorPresentation(false, "إعادة المحاولة");
    return window;
}

InstallerWindow busy(const char* status) {
    InstallerWindow window = english();
    window.label.text = status;
    window.bar.isIndeterminate = true;
    window.bar.startAnimation();
    window.action.isEnabled = false;
    return window;
}

InstallerWindow at(InstallerWindow window, const char* status, const char* percentage) {
    window.label.text = status;
    window.bar.doubleValue = 37.5;
    window.percentage.text = percentage;
    return window;
}

} // namespace

InstallerWindow checkingWindow() {
    return busy("Checking release…");
}

InstallerWindow downloadingWindow() {
    return at(english(), "Downloading Kavio…", "37.5%");
}

InstallerWindow installingWindow() {
    return busy("Installing Kavio…");
}

InstallerWindow errorWindow() {
    InstallerWindow window = english();
    window.label.text =
        "Kavio is running. Save your work and quit Kavio, then click Retry to continue installing.";
    window.setErrorPresentation(true, "Retry");
    return window;
}

InstallerWindow pausedWindow() {
    InstallerWindow window = at(english(), "Download paused.", "37.5%");
    window.action.isHidden = false;
    return window;
}

InstallerWindow arabicDownloadingWindow() {
    return at(arabic(), "جارٍ تنزيل Kavio…", "٣٧٫٥٪؜");
}

InstallerWindow arabicErrorWindow() {
    InstallerWindow window = arabic();
    window.label.text =
        "Kavio قيد التشغيل. احفظ عملك وأنهِ Kavio، ثم انقر على «إعادة المحاولة» لمتابعة التثبيت.";
    window.setErrorPresentation(true, window.action.title);
    return window;
}

InstallerWindow arabicPausedWindow() {
    InstallerWindow window = at(arabic(), "توقف التنزيل مؤقتًا.", "٣٧٫٥٪؜");
    window.action.isHidden = false;
    return window;
}

} // namespace InstallerCore::Testing
