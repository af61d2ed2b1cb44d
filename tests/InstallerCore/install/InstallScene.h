#pragma once

#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/install/Installation.h"
#include "tests/support/TestPlatform.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What is below a directory, by relative path: "directory", "link TEXT", "file CONTENT" or "other". Of
// anything else the one entry "." says what it is; nothing is in the tree of a path that does not exist.
using Tree = std::map<std::string, std::string>;

[[nodiscard]] Tree treeAt(const std::filesystem::path& path);

[[nodiscard]] std::string infoPropertyList(const std::string& identifier, const std::string& version,
                                           const std::string& otherMembers = {});

// The header of a universal executable for these processor types.
[[nodiscard]] std::string universalHeader(const std::vector<std::uint32_t>& processors);

// One destination with everything around it: an image with version 2.0.0 of the application for "arm64",
// tools that do in short what the real ones do, signatures that hold for exactly the applications that make()
// makes, and a folder outside in which nothing may change.
class InstallScene {
public:
    static constexpr const char* bundleID = "com.example.kavio";
    static constexpr const char* teamID = "ABCDE12345";
    static constexpr const char* stagingName = ".kavio-install-00000000-0000-4000-8000-0000000000AB";

    InstallScene();

    // Puts a complete application there.
    static void make(const std::filesystem::path& application, const std::string& version);

    // Puts a staging directory there as an earlier run left it; the backup when a version is given.
    std::filesystem::path leave(const std::string& journal, const std::string& backupVersion = {},
                                const std::string& name = stagingName) const;

    [[nodiscard]] std::filesystem::path install();
    void recover(bool launchConfirmed = false) const;

    [[nodiscard]] static Tree genuine(const std::string& version);

    [[nodiscard]] bool isInstalled(const std::string& version) const {
        return treeAt(target) == genuine(version);
    }

    [[nodiscard]] bool isAttached() const { return std::filesystem::exists(mountPoint); }

    // By their names in the destination.
    [[nodiscard]] std::vector<std::filesystem::path> stagingDirectories() const;

    // The phase in the journal on the disk now; "none" when there is none.
    [[nodiscard]] std::string phaseOnDisk() const;

    void expectOutsideUntouched() const;

    // The log's "event" members.
    [[nodiscard]] std::vector<std::string> events() const;

    // Every call of the file system, every look at a signature and at what runs, and every tool with its
    // arguments, in order. The destination is written D, the mount point M, the home H; an identifier UUID.
    // What the journal announces is followed by the phase that was on the disk then, in brackets.
    std::vector<std::string> effects;

    // Called just before each of them.
    std::function<void(const std::string& effect)> before;

    // What the tool returns instead of doing its work, 0 to have it do that; for a signature anything but 0
    // refuses it. A copy that fails leaves half of it.
    std::function<int(const std::string& effect)> failure;

    std::vector<InstallerMessage> messages;

    TestPlatform test;
    std::filesystem::path directory = test.home / "Applications";
    std::filesystem::path target = directory / "Kavio.app";
    std::filesystem::path image = test.home / "Kavio.dmg";
    std::filesystem::path volume = test.home / "volume"; // what the image holds
    std::filesystem::path source = volume / "Kavio.app";
    std::filesystem::path mountPoint = test.home / "Volumes/Kavio";
    std::filesystem::path outside = test.home / "outside";
    std::string attachOutput;
    Config config;
    Artifact artifact;

private:
    using Arguments = FakeProcesses::Arguments;

    [[nodiscard]] int happens(const std::string& effect);
    [[nodiscard]] std::string shortened(std::string text) const;
    [[nodiscard]] ProcessResult hdiutil(const Arguments& arguments);
    [[nodiscard]] ProcessResult ditto(const Arguments& arguments);
    [[nodiscard]] ProcessResult spctl(const Arguments& arguments);

    Tree outsideAtFirst_;
};

} // namespace InstallerCore::Testing
