// The stand-in for a Mac's disk image tool, as far as the installer uses it:
//
//   hdiutil attach -readonly -nobrowse -plist IMAGE
//   hdiutil detach MOUNT
//   hdiutil info -plist
//
// It serves the root below which it is installed: ROOT/usr/bin/hdiutil shows volumes in ROOT/Volumes.

#include "hosts/linux/diskimage/DiskImageTool.h"

#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using InstallerCore::DiskImageTool;

constexpr int failed = 1;
constexpr int busy = 16; // EBUSY, on a Mac as here

void say(const std::string& sentence) {
    std::cerr << "hdiutil: " << sentence << "\n";
}

int usage() {
    std::cerr << "usage: hdiutil attach -readonly -nobrowse -plist IMAGE | detach MOUNT | info -plist\n";
    return failed;
}

std::optional<std::filesystem::path> volumesDirectory() {
    constexpr std::string_view place = "/usr/bin/hdiutil";
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").string();
    if (!own.ends_with(place)) {
        return std::nullopt;
    }
    return own.substr(0, own.size() - place.size()) + "/Volumes";
}

int print(const std::string& text) {
    const bool written = static_cast<bool>(std::cout << text << std::flush);
    if (!written) {
        say("the result cannot be written");
    }
    return written ? 0 : failed;
}

template <typename Operation>
int guarded(const char* name, Operation operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        say(std::string(name) + " failed - " + error.what());
        return failed;
    }
}

int detach(const DiskImageTool& tool, const std::string& mountPoint) {
    try {
        tool.detach(mountPoint);
        return 0;
    } catch (const InstallerCore::VolumeBusyError&) {
        say("couldn't unmount \"" + mountPoint + "\" - Resource busy");
        return busy;
    }
}

int run(const std::vector<std::string>& arguments) {
    const bool attaching = arguments.size() == 5 && arguments[0] == "attach" && arguments[1] == "-readonly" &&
                           arguments[2] == "-nobrowse" && arguments[3] == "-plist";
    const bool detaching = arguments.size() == 2 && arguments[0] == "detach";
    const bool asking = arguments == std::vector<std::string>{"info", "-plist"};
    if (!attaching && !detaching && !asking) {
        return usage();
    }
    const auto volumes = volumesDirectory();
    if (!volumes) {
        say("this program works only where it is installed as usr/bin/hdiutil of a root directory");
        return failed;
    }
    const DiskImageTool tool(*volumes);
    if (attaching) {
        return guarded("attach", [&] { return print(tool.attach(arguments[4])); });
    }
    if (detaching) {
        return guarded("detach", [&] { return detach(tool, arguments[1]); });
    }
    return guarded("info", [&] { return print(tool.info()); });
}

} // namespace

int main(int count, char** arguments) {
    return guarded("it", [&] { return run({arguments + 1, arguments + count}); });
}
