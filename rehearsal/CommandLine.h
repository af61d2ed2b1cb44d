#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// The arguments of a program: operands and, anywhere among them, options with a value behind each.
struct CommandLine {
    std::vector<std::string> operands;
    std::map<std::string, std::string> options; // by name, with the two dashes

    // As main has them. Throws std::runtime_error for an option that is not among the known ones, is given
    // twice or has no value.
    [[nodiscard]] static CommandLine read(int count, char** arguments, const std::vector<std::string>& known);

    // The value of an option, or what takes its place when it is not given.
    [[nodiscard]] std::string option(const std::string& name, const std::string& otherwise = "") const;

    // The same of a decimal number. Throws std::runtime_error when the value is none or is too large.
    [[nodiscard]] std::uint64_t number(const std::string& name, std::uint64_t otherwise) const;
};

} // namespace InstallerCore::Rehearsal
