#include "InstallerCore/install/StagingDirectory.h"

#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/Uuid.h"

#include <algorithm>

namespace InstallerCore {

namespace {

constexpr std::string_view prefix = ".kavio-install-";
constexpr const char* removedPrefix = ".kavio-removed-"; // no name of a staging directory
constexpr const char* refusedName = "refused.app";
constexpr std::size_t longestJournal = 65'536;

std::string upperCaseUuid() {
    std::string uuid = randomUuid();
    std::transform(uuid.begin(), uuid.end(), uuid.begin(), Ascii::upperCase);
    return uuid;
}

} // namespace

bool contains(Folder& folder, std::string_view name) {
    const auto names = folder.files().names();
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool StagingDirectory::isName(std::string_view name) {
    return name.starts_with(prefix) && isUuid(name.substr(prefix.size()));
}

StagingDirectory StagingDirectory::create(Folder& destination) {
    const std::string name = std::string(prefix) + upperCaseUuid();
    destination.createFolder(name);
    return open(destination, name);
}

StagingDirectory StagingDirectory::open(Folder& destination, const std::string& name) {
    return {destination, name, destination.openFolder(name)};
}

void StagingDirectory::record(InstallationJournal::Phase phase, const std::string& version) {
    folder_->files().replace(InstallationJournal::fileName, InstallationJournal::encode(phase, version));
}

InstallationJournal StagingDirectory::journal() const {
    const auto file = folder_->files().open(InstallationJournal::fileName, FileAccess::read);
    return InstallationJournal::decode(readBytes(*file, longestJournal));
}

bool StagingDirectory::hasBackup() const {
    return contains(*folder_, backupName);
}

FileAttributes StagingDirectory::backupAttributes() const {
    return folder_->files().attributes(backupName);
}

void StagingDirectory::moveTargetToBackup() {
    destination_->move(applicationName, *folder_, backupName);
}

void StagingDirectory::moveCopyToTarget() {
    folder_->move(applicationName, *destination_, applicationName);
}

void StagingDirectory::moveBackupToTarget() {
    folder_->move(backupName, *destination_, applicationName);
}

void StagingDirectory::takeRefusedTarget() {
    destination_->move(applicationName, *folder_, refusedName);
}

void StagingDirectory::remove() {
    for (const std::string& entry : folder_->files().names()) {
        if (entry != InstallationJournal::fileName) {
            folder_->removeTree(entry);
        }
    }
    const std::string removed = removedPrefix + upperCaseUuid();
    destination_->move(name_, *destination_, removed);
    destination_->removeTree(removed);
}

} // namespace InstallerCore
