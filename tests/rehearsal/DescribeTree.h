#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What lies below the directory, by relative path: kind and permissions, and the content or the link's text.
// Two trees are equal when these are.
[[nodiscard]] std::map<std::string, std::string> describeTree(const std::filesystem::path& directory);

// The paths that only one of the two trees has or that are not the same in both.
[[nodiscard]] std::vector<std::string> differences(const std::map<std::string, std::string>& a,
                                                   const std::map<std::string, std::string>& b);

// Runs a program that has to be there and returns what it writes to its standard output; fails the test when
// it does not end with status 0.
[[nodiscard]] std::string outputOf(const std::string& executable, const std::vector<std::string>& arguments);

} // namespace InstallerCore::Testing
