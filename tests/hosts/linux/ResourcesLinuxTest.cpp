#include "hosts/linux/ResourcesLinux.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>

namespace InstallerCore {

namespace {

class ResourcesLinuxTest : public testing::Test {
protected:
    [[nodiscard]] std::optional<std::filesystem::path> find(const std::string& name,
                                                            const std::string& extension) const {
        return ResourcesLinux(directory_.path()).find(name, extension);
    }

    Testing::TemporaryDirectory directory_;
};

TEST_F(ResourcesLinuxTest, FileIsFoundByNameAndExtension) {
    Testing::writeFile(directory_ / "intro-en.mp4", "");
    EXPECT_EQ(find("intro-en", "mp4"), directory_ / "intro-en.mp4");
    EXPECT_EQ(find("intro-en", "json"), std::nullopt);
    EXPECT_EQ(find("intro", "mp4"), std::nullopt);
    EXPECT_EQ(find("INTRO-EN", "mp4"), std::nullopt);
}

TEST_F(ResourcesLinuxTest, OnlyFilesAreFound) {
    std::filesystem::create_directory(directory_ / "a.json");
    EXPECT_EQ(find("a", "json"), std::nullopt);
    ASSERT_EQ(::mkfifo((directory_ / "b.json").c_str(), 0600), 0);
    EXPECT_EQ(find("b", "json"), std::nullopt);
    std::filesystem::create_symlink("nowhere", directory_ / "c.json");
    EXPECT_EQ(find("c", "json"), std::nullopt);
}

TEST_F(ResourcesLinuxTest, LinkToAFileIsOne) {
    Testing::writeFile(directory_ / "target", "");
    std::filesystem::create_symlink("target", directory_ / "a.json");
    EXPECT_EQ(find("a", "json"), directory_ / "a.json");
}

TEST_F(ResourcesLinuxTest, NothingIsFoundWhereThereIsNoDirectory) {
    EXPECT_EQ(ResourcesLinux(directory_ / "missing").find("a", "json"), std::nullopt);
    Testing::writeFile(directory_ / "file", "");
    EXPECT_EQ(ResourcesLinux(directory_ / "file").find("a", "json"), std::nullopt);
}

// Not even in the current directory.
TEST_F(ResourcesLinuxTest, NothingIsFoundWithoutADirectory) {
    const auto before = std::filesystem::current_path();
    Testing::writeFile(directory_ / "a.json", "");
    std::filesystem::current_path(directory_.path());
    const auto found = ResourcesLinux({}).find("a", "json");
    std::filesystem::current_path(before);
    EXPECT_EQ(found, std::nullopt);
}

TEST_F(ResourcesLinuxTest, ResourcesOfAProgramAreNextToItsDirectory) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(ResourcesLinux::ofThisProgram(), program.parent_path().parent_path() / "share/kavio-installer");
    EXPECT_TRUE(ResourcesLinux::ofThisProgram().is_absolute());
}

} // namespace

} // namespace InstallerCore
