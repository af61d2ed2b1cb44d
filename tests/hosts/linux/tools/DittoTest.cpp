#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TreeSnapshot.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

using Testing::TemporaryDirectory;
using Testing::TreeSnapshot;
using Testing::writeFile;

class DittoTest : public testing::Test {
protected:
    // Its exit status; what it says is in errors() then.
    int ditto(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), DITTO_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        const pid_t child = ::fork();
        if (child == 0) {
            const int file = ::open((directory / "errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(file, STDERR_FILENO);
            ::execv(pointers.front(), pointers.data());
            ::_exit(127);
        }
        return Testing::waitFor(child);
    }

    [[nodiscard]] std::string errors() const { return Testing::readFile(directory / "errors"); }

    TemporaryDirectory directory;
    std::string source = directory / "source";
    std::string destination = directory / "copy";
};

TEST_F(DittoTest, copiesATree) {
    std::filesystem::create_directories(source + "/folder");
    writeFile(source + "/folder/file", "content");
    std::filesystem::create_symlink("folder", source + "/link");
    EXPECT_EQ(ditto({"--rsrc", "--extattr", "--acl", source, destination}), 0);
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(TreeSnapshot(source).differences(TreeSnapshot(destination)), "");
}

TEST_F(DittoTest, anotherCommandLineIsRefused) {
    writeFile(source, "content");
    const std::vector<std::vector<std::string>> lines{
        {},
        {source, destination},
        {"--rsrc", "--acl", "--extattr", source, destination},
        {"--rsrc", "--extattr", "--acl", source},
        {"--rsrc", "--extattr", "--acl", source, destination, "more"},
        {"--rsrc", "--extattr", "--ACL", source, destination},
    };
    for (const auto& line : lines) {
        EXPECT_EQ(ditto(line), 64);
        EXPECT_EQ(errors(), "ditto: usage: ditto --rsrc --extattr --acl SOURCE DESTINATION\n");
        EXPECT_FALSE(std::filesystem::exists(destination));
    }
}

TEST_F(DittoTest, aFailureIsOneLineAndAStatus) {
    writeFile(source, "content");
    writeFile(destination, "precious");
    EXPECT_EQ(ditto({"--rsrc", "--extattr", "--acl", source, destination}), 1);
    EXPECT_EQ(errors(), "ditto: " + destination + ": File exists\n");
    EXPECT_EQ(Testing::readFile(destination), "precious");
}

} // namespace

} // namespace InstallerCore
