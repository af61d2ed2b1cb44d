#pragma once

#include "KavioInstaller/InstallerWindow.h"

namespace InstallerCore::Testing {

// The window as the flow leaves it in each of its states, in English unless said otherwise. No video.
[[nodiscard]] InstallerWindow checkingWindow();
[[nodiscard]] InstallerWindow downloadingWindow(); // at 37.5 %
[[nodiscard]] InstallerWindow installingWindow();
[[nodiscard]] InstallerWindow errorWindow(); // with the longest sentence
[[nodiscard]] InstallerWindow pausedWindow();
[[nodiscard]] InstallerWindow arabicDownloadingWindow();
[[nodiscard]] InstallerWindow arabicErrorWindow();
[[nodiscard]] InstallerWindow arabicPausedWindow();

} // namespace InstallerCore::Testing
