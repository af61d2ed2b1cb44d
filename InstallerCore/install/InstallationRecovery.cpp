#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/install/ApplicationMetadata.h"
#include "InstallerCore/install/Installation.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/SystemLog.h"

#include <exception>
#include <utility>

namespace InstallerCore {

namespace {

// What an interrupted installation left in one staging directory, and what becomes of it.
class Remains {
public:
    Remains(const Installation& installation, std::filesystem::path directory, Folder& destination,
            std::string name, const Platform& platform)
        : installation_(installation),
          platform_(platform),
          directory_(std::move(directory)),
          destination_(destination),
          name_(std::move(name)) {}

    void settle(bool launchConfirmed) {
        const FileAttributes attributes = destination_.files().attributes(name_);
        require(attributes.type != FileType::symbolicLink, ErrorText::unsafeRecoveryDirectory);
        auto staging = StagingDirectory::open(destination_, name_);
        journal_ = staging.journal();
        if (!launchConfirmed) { // else the caller itself has launched it
            installation_.notRunning();
        }
        require(journal_->phase.has_value(), ErrorText::unknownPhase);
        if (journal_->phase == InstallationJournal::Phase::copying) { // the target was never touched
            staging.remove();
            return;
        }
        const bool hasTarget = contains(destination_, StagingDirectory::applicationName);
        const bool hasBackup = staging.hasBackup();
        if (hasTarget) {
            confirm(staging, launchConfirmed);
        } else {
            restore(staging, hasBackup);
        }
    }

    // For the support of a user whose installer cannot go on.
    [[nodiscard]] std::string report(std::string_view reason) const {
        const bool hasPhase = journal_ && journal_->phase;
        return ErrorText::recoveryRefused(
            {.directory = (directory_ / name_).string(),
             .phase = hasPhase ? InstallationJournal::name(*journal_->phase) : "unknown",
             .version = journal_ ? journal_->version.value_or("unknown") : "unknown",
             .installedVersion = installedVersion(),
             .reason = reason});
    }

private:
    void restore(StagingDirectory& staging, bool hasBackup) const {
        if (hasBackup) {
            require(staging.backupAttributes().type != FileType::symbolicLink,
                    ErrorText::unsafeRecoveryBackup);
            staging.moveBackupToTarget();
        }
        staging.remove();
        InstallerEvents::record(hasBackup ? "recovery_backup_restored" : "recovery_missing_app_cleared",
                                std::nullopt, platform_);
    }

    // The backup is kept until the application has been launched.
    void confirm(StagingDirectory& staging, bool launchConfirmed) const {
        require(journal_->version.has_value(), ErrorText::missingTransactionVersion);
        installation_.verifyApp(target(), *journal_->version);
        if (launchConfirmed) {
            staging.remove();
        }
    }

    [[nodiscard]] std::filesystem::path target() const {
        return directory_ / StagingDirectory::applicationName;
    }

    [[nodiscard]] std::string installedVersion() const {
        try {
            return ApplicationMetadata::read(target(), platform_).version;
        } catch (const std::exception&) {
            return "unknown";
        }
    }

    const Installation& installation_;
    const Platform& platform_;
    std::filesystem::path directory_;
    Folder& destination_;
    std::string name_;
    std::optional<InstallationJournal> journal_;
};

} // namespace

void Installation::recover(const std::filesystem::path& directory, bool launchConfirmed) const {
    const auto destination = platform_.folders.open(directory);
    for (const std::string& name : destination->files().names()) {
        if (!StagingDirectory::isName(name)) {
            continue;
        }
        Remains remains(*this, directory, *destination, name, platform_);
        try {
            remains.settle(launchConfirmed);
        } catch (const std::exception& error) {
            platform_.log.write(remains.report(error.what()));
            throw;
        }
    }
}

} // namespace InstallerCore
