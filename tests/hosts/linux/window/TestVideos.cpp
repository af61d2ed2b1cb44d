#include "tests/hosts/linux/window/TestVideos.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace InstallerCore::Testing {

void makeVideo(const std::filesystem::path& file, const std::string& source, const std::string& arguments) {
    const std::string command = std::string(KAVIO_FFMPEG) + " -v error -nostdin -f lavfi -i '" + source +
                                "' " + arguments + " -c:v libx264 -pix_fmt yuv420p -threads 1 '" +
                                file.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command; // NOLINT(cert-env33-c): our own words
}

} // namespace InstallerCore::Testing
