#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// The log's lines without their line feeds; throws when the last one is cut short.
inline std::vector<std::string> wholeLines(const std::filesystem::path& log) {
    const std::string text = readFile(log);
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            throw std::runtime_error("the last line is cut short: " + text.substr(begin));
        }
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// The log's objects; throws when a line is none.
inline std::vector<nlohmann::json> eventsIn(const std::filesystem::path& log) {
    std::vector<nlohmann::json> events;
    for (const std::string& line : wholeLines(log)) {
        events.push_back(nlohmann::json::parse(line));
    }
    return events;
}

} // namespace InstallerCore::Testing
