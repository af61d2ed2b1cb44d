#include "hosts/macos/SystemLogMac.h"

#include "hosts/macos/FoundationValues.h"
#include "hosts/shared/LogLine.h"

#include <exception>

namespace InstallerCore {

void SystemLogMac::write(std::string_view line) noexcept {
    @autoreleasepool {
        try {
            NSString* const text = fromUtf8(logLine(line));
            NSLog(@"%@", text == nil ? @"Installer: a line that is not UTF-8" : text);
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): want of memory
        }
    }
}

} // namespace InstallerCore
