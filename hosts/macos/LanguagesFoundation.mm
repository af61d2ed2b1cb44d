#include "hosts/macos/LanguagesFoundation.h"

#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

std::vector<std::string> LanguagesFoundation::preferred() const {
    @autoreleasepool {
        std::vector<std::string> tags;
        for (NSString* tag in NSLocale.preferredLanguages) {
            tags.push_back(toString(tag));
        }
        return tags;
    }
}

std::string LanguagesFoundation::percent(double fraction, const std::string& language) const {
    @autoreleasepool {
        NSString* const identifier = fromUtf8(language);
        if (identifier == nil) {
            return {};
        }
        NSNumberFormatter* const formatter = [[NSNumberFormatter alloc] init];
        formatter.locale = [NSLocale localeWithLocaleIdentifier:identifier];
        formatter.numberStyle = NSNumberFormatterPercentStyle;
        formatter.minimumFractionDigits = 1;
        formatter.maximumFractionDigits = 1;
        return toString([formatter stringFromNumber:@(fraction)]);
    }
}

} // namespace InstallerCore
