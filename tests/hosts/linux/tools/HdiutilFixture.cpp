#include "tests/hosts/linux/tools/HdiutilFixture.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "rehearsal/HfsVolume.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

void collectMountPoints(const PropertyValue& value, std::vector<std::string>& found) {
    if (const auto* const array = value.array()) {
        for (const PropertyValue& item : *array) {
            collectMountPoints(item, found);
        }
    } else if (const auto* const dictionary = value.dictionary()) {
        for (const auto& [key, item] : *dictionary) {
            if (key == "mount-point" && item.text() != nullptr) {
                found.push_back(*item.text());
            }
            collectMountPoints(item, found);
        }
    }
}

std::vector<std::string> namesIn(const fs::path& directory, const std::string& exception) {
    std::vector<std::string> names;
    if (fs::exists(directory)) {
        for (const auto& entry : fs::directory_iterator(directory)) {
            if (entry.path().filename() != exception) {
                names.push_back(entry.path().filename());
            }
        }
    }
    std::ranges::sort(names);
    return names;
}

std::string bigEndianNumber(std::size_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(value >> shift & 0xffU);
    }
    return bytes;
}

std::string bigEndianText(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit >> 8U);
        bytes += static_cast<char>(unit & 0xffU);
    }
    return bytes;
}

} // namespace

HdiutilFixture::HdiutilFixture() {
    fs::create_directories(root_ / "usr/bin");
    fs::copy_file(HDIUTIL_PROGRAM, root_ / "usr/bin/hdiutil");
}

fs::path HdiutilFixture::makeImage(const std::string& name,
                                   const std::function<void(const fs::path&)>& arrange,
                                   const std::string& volumeName) {
    const TemporaryDirectory content;
    arrange(content.path());
    fs::path image = directory_ / name;
    Rehearsal::SampleImageOptions options;
    options.volumeName = volumeName;
    options.linkToApplications = false;
    Rehearsal::packImage(content.path(), image, options);
    for (const auto& entry : fs::recursive_directory_iterator(content.path())) {
        if (entry.is_directory() && !entry.is_symlink()) { // so that it can be removed
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add);
        }
    }
    return image;
}

fs::path HdiutilFixture::makeSpoiltImage(const std::string& name,
                                         const std::function<void(const fs::path&)>& arrange,
                                         const std::u16string& text, const std::u16string& newText) {
    const TemporaryDirectory content;
    arrange(content.path());
    const fs::path raw = directory_ / "raw";
    fs::remove(raw);
    Rehearsal::makeHfsVolume(content.path(), "Kavio", raw);
    std::string volume = readFile(raw);
    const std::string from = bigEndianText(text);
    std::size_t found = 0;
    for (std::size_t place = volume.find(from); place != std::string::npos;
         place = volume.find(from, place + 1)) {
        volume.replace(place, from.size(), bigEndianText(newText));
        ++found;
    }
    if (found == 0 || text.size() != newText.size()) {
        throw std::runtime_error("nothing to spoil");
    }
    writeFile(raw, volume);
    Rehearsal::writeUdif(raw, directory_ / name, {});
    return directory_ / name;
}

fs::path HdiutilFixture::makeSmallImage(const std::string& name, const std::string& text) {
    return makeImage(name, [&](const fs::path& content) {
        writeFile(content / "read me", text);
        fs::create_symlink("/Applications", content / "Applications");
    });
}

fs::path HdiutilFixture::makePartitionedImage() {
    constexpr std::size_t sector = 512;
    constexpr std::size_t partitions = 3;
    const auto entry = [](std::size_t first, std::size_t count, const std::string& type) {
        std::string bytes("PM\0\0", 4);
        bytes += bigEndianNumber(partitions) + bigEndianNumber(first) + bigEndianNumber(count);
        bytes.resize(48, '\0');
        bytes += type;
        bytes.resize(sector, '\0');
        return bytes;
    };
    std::string map = std::string(sector, '\0') + entry(1, partitions, "Apple_partition_map");
    std::string volumes;
    for (const char* const text : {"first", "second"}) {
        const TemporaryDirectory content;
        writeFile(content / "name", text);
        const fs::path raw = content / "raw";
        Rehearsal::makeHfsVolume(content.path(), "Twin", raw);
        const std::string volume = readFile(raw);
        map += entry(partitions + 1 + volumes.size() / sector, volume.size() / sector, "Apple_HFS");
        volumes += volume;
    }
    writeFile(directory_ / "raw", map + volumes);
    Rehearsal::writeUdif(directory_ / "raw", directory_ / "twins.dmg", {});
    return directory_ / "twins.dmg";
}

std::vector<std::string> HdiutilFixture::command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), root_ / "usr/bin/hdiutil");
    return arguments;
}

TracedEnd HdiutilFixture::run(std::vector<std::string> arguments) const {
    const fs::path output = directory_ / "stdout";
    const fs::path errors = directory_ / "stderr";
    std::vector<std::string> owned = command(std::move(arguments));
    std::vector<char*> vector;
    for (std::string& argument : owned) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
        ::dup2(::open(output.c_str(), flags, 0600), STDOUT_FILENO);
        ::dup2(::open(errors.c_str(), flags, 0600), STDERR_FILENO);
        ::execv(vector[0], vector.data());
        ::_exit(127);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child) {
        throw std::runtime_error("the tool cannot be run");
    }
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
            .output = readFile(output),
            .errors = readFile(errors)};
}

TracedEnd HdiutilFixture::attach(const fs::path& image) const {
    return run({"attach", "-readonly", "-nobrowse", "-plist", image});
}

TracedEnd HdiutilFixture::detach(const fs::path& mountPoint) const {
    return run({"detach", mountPoint});
}

fs::path HdiutilFixture::mount(const fs::path& image) const {
    const TracedEnd end = attach(image);
    EXPECT_EQ(end.status, 0) << end.errors;
    EXPECT_EQ(end.errors, "");
    const auto points = mountPointsIn(end.output);
    EXPECT_EQ(points.size(), 1U);
    return points.empty() ? fs::path() : fs::path(points.front());
}

std::vector<std::string> HdiutilFixture::volumes() const {
    return namesIn(volumes_, ".images");
}

std::vector<std::string> HdiutilFixture::state() const {
    return namesIn(volumes_ / ".images", "lock");
}

void HdiutilFixture::expectRefusal(const fs::path& image, const std::string& sentence) const {
    const TracedEnd end = attach(image);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(end.errors, "hdiutil: attach failed - " + sentence + "\n");
    EXPECT_EQ(volumes(), std::vector<std::string>());
    EXPECT_EQ(state(), std::vector<std::string>());
}

std::vector<std::string> mountPointsIn(const std::string& table) {
    std::vector<std::string> found;
    collectMountPoints(PropertyListsLibplist().parse(asBytes(table)), found);
    return found;
}

std::vector<std::string> describeTree(const fs::path& directory) {
    std::vector<std::string> lines;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        std::string line = entry.path().lexically_relative(directory).string();
        if (entry.is_symlink()) {
            line += " -> " + fs::read_symlink(entry.path()).string();
        } else if (entry.is_regular_file()) {
            line += " = " + readFile(entry.path());
        }
        lines.push_back(entry.is_symlink() ? line : line + " " + std::to_string(permissionsOf(entry.path())));
    }
    std::ranges::sort(lines);
    return lines;
}

} // namespace InstallerCore::Testing
