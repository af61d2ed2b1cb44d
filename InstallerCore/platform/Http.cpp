#include "InstallerCore/platform/Http.h"

#include "InstallerCore/support/Ascii.h"

#include <algorithm>

namespace InstallerCore {

namespace {

bool sameHeaderName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Ascii::lowerCase(x) == Ascii::lowerCase(y); });
}

} // namespace

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    std::optional<std::string> value;
    for (const HttpHeader& header : headers) {
        if (!sameHeaderName(header.name, name)) {
            continue;
        }
        value = value ? *value + ", " + header.value : header.value;
    }
    return value;
}

} // namespace InstallerCore
