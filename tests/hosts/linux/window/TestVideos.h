#pragma once

#include <filesystem>
#include <string>

namespace InstallerCore::Testing {

// Has the ffmpeg program make an H.264 video in MP4 of such a source
// ("color=red:size=64x48:rate=10:duration=0.5"), with further arguments. Fails the test when it cannot.
void makeVideo(const std::filesystem::path& file, const std::string& source,
               const std::string& arguments = "");

} // namespace InstallerCore::Testing
