#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/localization/InstallerMessage.h"
#include "InstallerCore/platform/Platform.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace InstallerCore {

// Puts the configured application into a destination directory, judges what is there, and mends what an
// interrupted installation left. All operations block, also for the tools that they run, and throw
// InstallerError with a text of the catalogue or the PlatformError of the system underneath. May be used from
// any thread; two installations into one directory at the same time are the caller's to prevent.
class Installation {
public:
    explicit Installation(Config config, const Platform& platform = Platform::host())
        : config_(std::move(config)), platform_(platform) {}

    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    [[nodiscard]] const Config& config() const noexcept { return config_; }

    // Returns when the application is genuine, unaltered, of the configured team and identity, of exactly
    // that version, made for this system and accepted by the system's policy. Nothing is remembered between
    // calls.
    void verifyApp(const std::filesystem::path& application, const std::string& expectedVersion) const;

    // Returns when the volume of the path has at least that many bytes for this user.
    void checkSpace(const std::filesystem::path& path, std::int64_t bytes) const;

    // Returns when no instance of the application runs, wherever it was started from.
    void notRunning() const;

    // The application in the directory, when there is one and it is not older than the minimum; it has been
    // verified then. Throws when something else has its name or it does not verify.
    [[nodiscard]] std::optional<std::filesystem::path>
    existing(const std::filesystem::path& directory,
             const std::optional<std::string>& minimumVersion = std::nullopt) const;

    // Called with verifying and then installing, on the calling thread.
    using Progress = std::function<void(InstallerMessage)>;

    // Installs the application of the disk image and returns its path, or returns at once when what is there
    // is as new and verifies. A failure leaves the application that was there before, or none; what it leaves
    // besides, and what an interruption at any instant leaves, recover() understands. On success the staging
    // directory stays, with the previous application in it.
    // NOLINTNEXTLINE(modernize-use-nodiscard): who gave the directory knows the path
    std::filesystem::path install(const std::filesystem::path& dmg, const Artifact& artifact,
                                  const std::filesystem::path& directory, const Progress& progress) const;

    // Brings the directory back to one whole application after installations that did not end: drops
    // unfinished copies, puts an application that was moved aside back when no new one arrived, and verifies
    // one that did. launchConfirmed says that the application there has just been launched, so that nothing
    // need be kept for it. The first staging directory that cannot be dealt with ends it, with a line in the
    // system log.
    void recover(const std::filesystem::path& directory, bool launchConfirmed) const;

private:
    void checkMinimumSystem(const std::filesystem::path& application) const;
    void checkSource(const std::filesystem::path& source, const Artifact& artifact,
                     const std::filesystem::path& directory) const;
    void checkArchitecture(const std::filesystem::path& application, const std::string& architecture) const;

    Config config_;
    const Platform& platform_;
};

} // namespace InstallerCore
