#include "fuzz/Check.h"

#include <cstdlib>
#include <iostream>

namespace InstallerCore::Fuzz {

void check(bool holds, std::string_view property) {
    if (!holds) {
        std::cerr << "Does not hold: " << property << std::endl;
        std::abort();
    }
}

std::vector<std::string_view> pieces(std::string_view text, char separator, std::size_t most) {
    std::vector<std::string_view> result;
    while (result.size() + 1 < most) {
        const std::size_t found = text.find(separator);
        if (found == std::string_view::npos) {
            break;
        }
        result.push_back(text.substr(0, found));
        text.remove_prefix(found + 1);
    }
    result.push_back(text);
    return result;
}

} // namespace InstallerCore::Fuzz
