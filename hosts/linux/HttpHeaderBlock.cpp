#include "hosts/linux/HttpHeaderBlock.h"

#include <utility>

namespace InstallerCore {

namespace {

std::string_view withoutOuter(std::string_view text, std::string_view characters) {
    const std::size_t first = text.find_first_not_of(characters);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

} // namespace

bool HttpHeaderBlock::add(std::string_view line) {
    constexpr std::string_view blanks = " \t\r\n";
    if (std::exchange(ended_, false)) {
        headers_.clear(); // the status line
        return false;
    }
    if (line.empty() || line.front() == '\r' || line.front() == '\n') {
        ended_ = true;
        return true; // libcurl's own idea of the end
    }
    const std::string_view content = withoutOuter(line, blanks);
    const bool continuesLast = line.front() == ' ' || line.front() == '\t';
    if (continuesLast) {
        if (!headers_.empty() && !content.empty()) {
            headers_.back().value.append(" ").append(content);
        }
        return false;
    }
    const std::size_t colon = content.find(':');
    if (colon != std::string_view::npos) {
        headers_.push_back({.name = std::string(content.substr(0, colon)),
                            .value = std::string(withoutOuter(content.substr(colon + 1), blanks))});
    }
    return false;
}

} // namespace InstallerCore
