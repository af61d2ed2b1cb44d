#include "rehearsal/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace InstallerCore::Rehearsal {

CommandLine CommandLine::read(int count, char** arguments, const std::vector<std::string>& known) {
    CommandLine line;
    for (int i = 1; i < count; ++i) {
        std::string word = arguments[i];
        if (!word.starts_with("--")) {
            line.operands.push_back(std::move(word));
            continue;
        }
        if (std::ranges::find(known, word) == known.end()) {
            throw std::runtime_error("there is no option " + word);
        }
        if (++i == count) {
            throw std::runtime_error(word + " has no value");
        }
        if (!line.options.emplace(word, arguments[i]).second) {
            throw std::runtime_error(word + " is given twice");
        }
    }
    return line;
}

std::string CommandLine::option(const std::string& name, const std::string& otherwise) const {
    const auto found = options.find(name);
    return found == options.end() ? otherwise : found->second;
}

std::uint64_t CommandLine::number(const std::string& name, std::uint64_t otherwise) const {
    const auto found = options.find(name);
    if (found == options.end()) {
        return otherwise;
    }
    const std::string& text = found->second;
    const char* const end = text.data() + text.size();
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) {
        throw std::runtime_error(name + " needs a number, and " + text + " is none");
    }
    return value;
}

} // namespace InstallerCore::Rehearsal
