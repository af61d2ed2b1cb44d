#include "tests/rehearsal/DescribeTree.h"

#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace InstallerCore::Testing {

std::map<std::string, std::string> describeTree(const std::filesystem::path& directory) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        std::string& text = tree[entry.path().lexically_relative(directory)];
        if (entry.is_symlink()) {
            text = "link " + std::filesystem::read_symlink(entry).string();
        } else if (entry.is_directory()) {
            text = "directory " + std::to_string(permissionsOf(entry));
        } else {
            text = "file " + std::to_string(permissionsOf(entry)) + " " + readFile(entry);
        }
    }
    return tree;
}

std::vector<std::string> differences(const std::map<std::string, std::string>& a,
                                     const std::map<std::string, std::string>& b) {
    std::vector<std::pair<std::string, std::string>> entries;
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(entries));
    std::set<std::string> paths;
    for (const auto& [path, description] : entries) {
        paths.insert(path);
    }
    return {paths.begin(), paths.end()};
}

std::string outputOf(const std::string& executable, const std::vector<std::string>& arguments) {
    const ProcessResult result =
        ProcessesPosix().run(executable, arguments, Processes::ErrorOutput::discarded);
    EXPECT_EQ(result.status, 0) << executable << " says: " << asText(result.output);
    return std::string(asText(result.output));
}

} // namespace InstallerCore::Testing
