#include "KavioInstaller/Announcements.h"

#include <utility>

namespace InstallerCore {

bool ProgressAnnouncements::take(const std::optional<ProgressValue>& drawn) {
    if (!drawn || drawn->number == value_) {
        return false;
    }
    value_ = drawn->number;
    return true;
}

bool StatusAnnouncements::take(const InstallerWindow& shown) {
    const std::string before = std::exchange(last_, shown.announcement());
    return !last_.empty() && last_ != before;
}

} // namespace InstallerCore
