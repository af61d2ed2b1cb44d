#include "tests/InstallerCore/install/InstallScene.h"

#include "tests/InstallerCore/events/EventLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

constexpr std::string_view imageContent = "an image";
constexpr std::uint32_t arm64 = 0x0100000C;
constexpr std::uint32_t x86_64 = 0x01000007;

void appendWord(std::string& bytes, std::uint32_t word) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>((word >> shift) & 0xFFU);
    }
}

std::string describe(const std::filesystem::path& path) {
    const auto status = std::filesystem::symlink_status(path);
    if (std::filesystem::is_regular_file(status)) {
        return "file " + readFile(path);
    }
    if (std::filesystem::is_symlink(status)) {
        return "link " + std::filesystem::read_symlink(path).string();
    }
    return std::filesystem::is_directory(status) ? "directory" : "other";
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

bool isAnnounced(const std::string& effect) {
    const auto begins = [&effect](std::string_view start) { return effect.starts_with(start); };
    return begins("Folder.move") || begins("ditto") || begins("validity");
}

std::string joined(const std::string& tool, const std::vector<std::string>& arguments) {
    std::string text = tool;
    for (const std::string& argument : arguments) {
        text += " " + argument;
    }
    return text;
}

} // namespace

Tree treeAt(const std::filesystem::path& path) {
    namespace fs = std::filesystem;
    Tree tree;
    if (!fs::is_directory(path)) {
        if (fs::exists(fs::symlink_status(path))) {
            tree["."] = describe(path);
        }
        return tree;
    }
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        tree[entry.path().lexically_relative(path)] = describe(entry.path());
    }
    return tree;
}

std::string infoPropertyList(const std::string& identifier, const std::string& version,
                             const std::string& otherMembers) {
    return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>CFBundleIdentifier</key><string>)" +
           identifier + "</string><key>CFBundleShortVersionString</key><string>" + version + "</string>" +
           otherMembers + "</dict></plist>";
}

std::string universalHeader(const std::vector<std::uint32_t>& processors) {
    std::string bytes;
    appendWord(bytes, 0xCAFEBABE);
    appendWord(bytes, static_cast<std::uint32_t>(processors.size()));
    for (const std::uint32_t processor : processors) {
        appendWord(bytes, processor);
        for (int word = 0; word < 4; ++word) { // subtype, offset, size, alignment
            appendWord(bytes, 0);
        }
    }
    return bytes;
}

InstallScene::InstallScene()
    : config{.installerVersion = "1.0.0", .macTeamID = teamID, .bundleID = bundleID},
      artifact{.platform = "macos",
               .arch = "arm64",
               .appVersion = "2.0.0",
               .minOSVersion = "12.0.0",
               .url = "https://dist.test/Kavio-2.0.0-arm64.dmg",
               .sizeBytes = std::ssize(imageContent),
               .installedSizeBytes = 4096} {
    std::filesystem::create_directory(directory);
    std::filesystem::create_directory(mountPoint.parent_path());
    std::filesystem::create_directories(outside / "folder");
    writeFile(outside / "precious", "precious");
    writeFile(directory / "Other.txt", "another's");
    outsideAtFirst_ = treeAt(outside);
    make(source, "2.0.0");
    writeFile(image, imageContent);
    const auto digest = test.digests.sha512();
    digest->update(asBytes(imageContent));
    artifact.sha512 = hexadecimal(digest->finish());
    attachOutput = "<plist version=\"1.0\"><dict><key>system-entities</key><array><dict><key>dev-entry</key>"
                   "<string>/dev/disk4</string></dict><dict><key>mount-point</key><string>" +
                   mountPoint.string() + "</string></dict></array></dict></plist>";

    test.files.before = [this](const std::string& operation, const std::string& argument) {
        static_cast<void>(happens(argument.empty() ? operation : operation + " " + argument));
    };
    test.codeSigning.isValid = [this](const std::filesystem::path& bundle, const std::string&) {
        const bool refused = happens("validity " + bundle.string()) != 0;
        const Tree tree = treeAt(bundle);
        const auto versions = {"1.0.0", "2.0.0", "3.0.0"};
        return !refused && std::any_of(versions.begin(), versions.end(),
                                       [&tree](const char* version) { return tree == genuine(version); });
    };
    test.workspace.onLook = [this] { static_cast<void>(happens("running?")); };
    test.processes.tools = {
        {test.platform.paths.hdiutil, [this](const Arguments& arguments) { return hdiutil(arguments); }},
        {test.platform.paths.ditto, [this](const Arguments& arguments) { return ditto(arguments); }},
        {test.platform.paths.spctl, [this](const Arguments& arguments) { return spctl(arguments); }}};
}

void InstallScene::make(const std::filesystem::path& application, const std::string& version) {
    std::filesystem::create_directories(application / "Contents/MacOS");
    std::filesystem::create_directories(application / "Contents/Resources");
    writeFile(application / "Contents/Info.plist", infoPropertyList(bundleID, version));
    writeFile(application / "Contents/MacOS/Kavio", universalHeader({x86_64, arm64}) + version);
    writeFile(application / "Contents/Resources/text", "of " + version);
    std::filesystem::create_symlink("text", application / "Contents/Resources/link");
}

Tree InstallScene::genuine(const std::string& version) {
    static std::map<std::string, Tree> known;
    Tree& tree = known[version];
    if (tree.empty()) {
        const TemporaryDirectory folder;
        make(folder.path(), version);
        tree = treeAt(folder.path());
    }
    return tree;
}

std::filesystem::path InstallScene::leave(const std::string& journal, const std::string& backupVersion,
                                          const std::string& name) const {
    const auto staging = directory / name;
    std::filesystem::create_directory(staging);
    writeFile(staging / "transaction.json", journal);
    if (!backupVersion.empty()) {
        make(staging / "previous.app", backupVersion);
    }
    return staging;
}

std::filesystem::path InstallScene::install() {
    return Installation(config, test.platform)
        .install(image, artifact, directory,
                 [this](InstallerMessage message) { messages.push_back(message); });
}

void InstallScene::recover(bool launchConfirmed) const {
    Installation(config, test.platform).recover(directory, launchConfirmed);
}

std::vector<std::filesystem::path> InstallScene::stagingDirectories() const {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().filename().string().starts_with(".kavio-install-")) {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string InstallScene::phaseOnDisk() const {
    if (!std::filesystem::is_directory(directory)) {
        return "none";
    }
    const auto found = stagingDirectories();
    if (found.empty() || !std::filesystem::is_regular_file(found.front() / "transaction.json")) {
        return "none";
    }
    const std::string text = readFile(found.front() / "transaction.json");
    for (const char* phase : {"copying", "replacing", "installed"}) {
        if (text.find("\"phase\":\"" + std::string(phase) + "\"") != std::string::npos) {
            return phase;
        }
    }
    return "unknown";
}

void InstallScene::expectOutsideUntouched() const {
    EXPECT_EQ(treeAt(outside), outsideAtFirst_);
    EXPECT_EQ(treeAt(directory / "Other.txt"), (Tree{{".", "file another's"}}));
}

std::vector<std::string> InstallScene::events() const {
    std::vector<std::string> names;
    const auto log = test.home / "Library/Caches" / test.cachePath().filename() / "events.jsonl";
    if (std::filesystem::exists(log)) {
        for (const auto& event : eventsIn(log)) {
            EXPECT_FALSE(event.contains("appVersion"));
            names.push_back(event.at("event"));
        }
    }
    return names;
}

int InstallScene::happens(const std::string& effect) {
    std::string text = shortened(effect);
    if (isAnnounced(text)) {
        text += " [" + phaseOnDisk() + "]";
    }
    effects.push_back(text);
    if (before) {
        before(text);
    }
    return failure ? failure(text) : 0;
}

std::string InstallScene::shortened(std::string text) const {
    static const std::regex identifier("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    replaceAll(text, directory, "D");
    replaceAll(text, mountPoint, "M");
    replaceAll(text, test.home.path(), "H");
    return std::regex_replace(text, identifier, "UUID");
}

ProcessResult InstallScene::hdiutil(const Arguments& arguments) {
    if (const int status = happens(joined("hdiutil", arguments)); status != 0) {
        return {.status = status, .output = {}};
    }
    if (arguments.front() == "detach") {
        std::filesystem::remove_all(arguments.at(1));
        return {};
    }
    const bool readable = std::filesystem::is_regular_file(arguments.back());
    if (!readable || readFile(arguments.back()) != imageContent) {
        return {.status = 1, .output = toBytes("not an image")};
    }
    if (!isAttached()) { // an image that is attached already keeps its mount point
        std::filesystem::copy(volume, mountPoint,
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::copy_symlinks);
    }
    return {.status = 0, .output = toBytes(attachOutput)};
}

ProcessResult InstallScene::ditto(const Arguments& arguments) {
    const std::filesystem::path from = arguments.at(3);
    const std::filesystem::path to = arguments.at(4);
    const int status = happens(joined("ditto", arguments));
    std::error_code error;
    // Like our own: a name that is free, in a directory that exists and is no link.
    const bool taken = std::filesystem::exists(std::filesystem::symlink_status(to));
    if (taken || std::filesystem::is_symlink(to.parent_path()) ||
        !std::filesystem::create_directory(to, error)) {
        return {.status = 1, .output = {}};
    }
    if (status != 0) {
        writeFile(to / "half", "half");
        return {.status = status, .output = {}};
    }
    std::filesystem::copy(
        from, to, std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks,
        error);
    return {.status = error ? 1 : 0, .output = {}};
}

ProcessResult InstallScene::spctl(const Arguments& arguments) {
    return {.status = happens(joined("spctl", arguments)), .output = toBytes("its words")};
}

} // namespace InstallerCore::Testing
