#include "hosts/linux/window/VideoLibraries.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace InstallerCore {
namespace {

struct Close {
    void operator()(std::FILE* stream) const { pclose(stream); }
};

// The libraries that this program, as every one with the installer's window, is linked to.
std::string linkedLibraries() {
    const std::string command =
        "readelf --dynamic '" + std::filesystem::read_symlink("/proc/self/exe").string() + "'";
    const std::unique_ptr<std::FILE, Close> stream(popen(command.c_str(), "r"));
    std::string result;
    std::array<char, 256> piece{};
    while (stream && std::fgets(piece.data(), piece.size(), stream.get()) != nullptr) {
        result += piece.data();
    }
    return result;
}

TEST(VideoLibrariesTest, AreThereOnceTheyAreAskedFor) {
    const VideoLibraries* const libraries = VideoLibraries::load();
    ASSERT_NE(libraries, nullptr);
    EXPECT_EQ(libraries->rescale(6, 7, 2), 21);
    EXPECT_EQ(VideoLibraries::load(), libraries);
}

TEST(VideoLibrariesTest, AreNotLoadedWithTheProgram) {
    const std::string linked = linkedLibraries();
    EXPECT_NE(linked.find("libQt6Widgets"), std::string::npos) << linked;
    for (const char* name : {"libavformat", "libavcodec", "libavutil", "libswscale"}) {
        EXPECT_EQ(linked.find(name), std::string::npos) << name;
    }
}

} // namespace
} // namespace InstallerCore
