#pragma once

#include "KavioInstaller/InstallerWindow.h"

#include <optional>
#include <string>

namespace InstallerCore {

// What a screen reader has been told so far, so that it is told what changes and nothing else.

class ProgressAnnouncements {
public:
    // Takes what the bar says as it is drawn now. Whether it is to be told.
    [[nodiscard]] bool take(const std::optional<ProgressValue>& drawn);

    // The bar's value as told last; none while nobody knows it.
    [[nodiscard]] std::optional<double> value() const { return value_; }

private:
    std::optional<double> value_;
};

class StatusAnnouncements {
public:
    // Takes the window as it is shown now. Whether its announcement is to be told.
    [[nodiscard]] bool take(const InstallerWindow& shown);

private:
    std::string last_;
};

} // namespace InstallerCore
