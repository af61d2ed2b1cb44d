#pragma once

#include "InstallerCore/platform/Clock.h"
#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/platform/SystemLog.h"
#include "hosts/linux/DigestsOpenSsl.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/posix/FilesPosix.h"
#include "hosts/posix/FoldersPosix.h"
#include "tests/support/FakeCodeSigning.h"
#include "tests/support/FakeHttp.h"
#include "tests/support/FakeLanguages.h"
#include "tests/support/FakeProcesses.h"
#include "tests/support/FakeResources.h"
#include "tests/support/FakeWorkspace.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// A clock that moves only when somebody sleeps on it or sets it.
class FakeClock final : public Clock {
public:
    [[nodiscard]] WallTime now() const override;
    void sleep(std::chrono::milliseconds duration) override;

    void set(WallTime now);
    [[nodiscard]] std::vector<std::chrono::milliseconds> sleeps() const;

    // Called in each sleep with the number of sleeps before it.
    std::function<void(std::size_t)> onSleep;

private:
    mutable std::mutex lock_;
    WallTime now_ = std::chrono::system_clock::from_time_t(1'750'000'000);
    std::vector<std::chrono::milliseconds> sleeps_;
};

class RecordingLog final : public SystemLog {
public:
    void write(std::string_view line) noexcept override;
    [[nodiscard]] std::vector<std::string> lines() const;

private:
    mutable std::mutex lock_;
    std::vector<std::string> lines_;
};

class FakeSystemInfo final : public SystemInfo {
public:
    [[nodiscard]] bool hasArm64() const noexcept override { return arm64; }

    [[nodiscard]] SystemVersion version() const noexcept override { return systemVersion; }

    bool arm64 = false;
    SystemVersion systemVersion{.major = 14, .minor = 0, .patch = 0};
};

// A platform for one test: real files, real digests and property lists, everything else fake. The home
// directory is its own.
class TestPlatform {
public:
    TemporaryDirectory home;
    FilesPosix realFiles{home.path()};
    FaultyFiles files{realFiles}; // forwards; fails where a test says so
    FakeHttp http;
    FakeClock clock;
    RecordingLog log;
    FakeSystemInfo system;
    DigestsOpenSsl digests;
    FoldersPosix realFolders;
    FaultyFolders folders{realFolders, files};
    FakeProcesses processes;
    PropertyListsLibplist propertyLists;
    FakeCodeSigning codeSigning;
    FakeWorkspace workspace;
    FakeLanguages languages;
    FakeResources resources;
    Platform platform{http,      files,         digests,     clock,     system,    log,      folders,
                      processes, propertyLists, codeSigning, workspace, languages, resources};

    // The same services but for these.
    [[nodiscard]] Platform with(Files& otherFiles) { return with(otherFiles, clock); }

    [[nodiscard]] Platform with(Files& otherFiles, Clock& otherClock);

    // Where privateCache() is below the home; not made yet.
    [[nodiscard]] std::filesystem::path cachePath() const;
};

} // namespace InstallerCore::Testing
