#include "hosts/linux/window/VideoLibraries.h"

#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace InstallerCore {
namespace {

// The libraries that this program, as every one with the installer's window, is linked to.
std::string linkedLibraries() {
    return Testing::outputOf("readelf --dynamic '" +
                             std::filesystem::read_symlink("/proc/self/exe").string() + "'");
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
