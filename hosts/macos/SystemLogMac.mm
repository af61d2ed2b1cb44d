#include "hosts/macos/SystemLogMac.h"

#include "InstallerCore/support/UnicodeText.h"
#include "hosts/macos/FoundationValues.h"
#include "hosts/shared/LogLine.h"

#include <exception>

namespace InstallerCore {

void SystemLogMac::write(std::string_view line) noexcept {
    @autoreleasepool {
        try {
            NSLog(@"%@", isUtf8(line) ? toNSString(logLine(line)) : @"Installer: a line that is not UTF-8");
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory
        }
    }
}

} // namespace InstallerCore
