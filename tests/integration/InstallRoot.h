#pragma once

#include "tests/support/SystemCallTracer.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What lies in the destination, by versions: "" is none, "damaged" anything but a whole genuine application.
struct InstallState {
    std::string target;
    std::string journal; // of the staging directory: its phase, "no record", or "" without the directory
    std::string backup;

    friend bool operator==(const InstallState&, const InstallState&) = default;
};

std::ostream& operator<<(std::ostream& stream, const InstallState& state);

// A root directory with everything that an installer meets on a user's machine: the real tools, small real
// images in the cache, an Applications folder with other things in it; and the program that installs there.
class InstallRoot {
public:
    InstallRoot();
    InstallRoot(const InstallRoot&) = delete;
    InstallRoot& operator=(const InstallRoot&) = delete;
    ~InstallRoot();

    [[nodiscard]] const std::filesystem::path& path() const { return root_; }

    // Puts the application there as a user does who drags it.
    void place(const std::string& version);

    // The next starts are to install this version.
    void offer(const std::string& version);

    // From here on the system's policy refuses the application in its final place, or accepts it again.
    void refuseInPlace(bool refuse) const;

    // Starts the installer and waits for the end of everything that it started. Fails the test when anything
    // was changed that it has no business with.
    TracedEnd start();
    TracedEnd start(TracedEffects effects, const CallWatcher& watcher);

    [[nodiscard]] InstallState state() const;

    // The version at the path, as in the state.
    [[nodiscard]] std::string versionOf(const std::filesystem::path& application) const;

    [[nodiscard]] std::vector<std::filesystem::path> stagingDirectories() const;

    // The names in the volumes directory that images have brought there.
    [[nodiscard]] std::vector<std::string> mounted() const;

    // Detaches them, as a restart of the machine does.
    void detachAll() const;

    // Whatever the user had besides is as it was.
    void expectOthersUntouched() const;

    // The root as it is now, and as it was then.
    void save();
    void restore() const;

private:
    struct Release {
        std::string digest; // of the application
        std::string hash;   // of the image
    };

    const Release& release(const std::string& version);
    [[nodiscard]] bool mayChange(const std::string& call, const std::filesystem::path& path) const;
    void installTools() const;
    [[nodiscard]] std::string digestOfOthers() const;
    [[nodiscard]] std::filesystem::path cache() const;

    TemporaryDirectory directory_;
    std::filesystem::path root_ = directory_ / "root";
    std::map<std::string, Release> releases_;
    std::string offered_;
    std::string others_; // digests
};

} // namespace InstallerCore::Testing
