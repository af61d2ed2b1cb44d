#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/install/AttachedImage.h"
#include "InstallerCore/install/Installation.h"
#include "InstallerCore/install/MachOArchitectures.h"
#include "InstallerCore/install/RunTool.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/install/TreeSize.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/support/CheckedArithmetic.h"
#include "InstallerCore/support/PlatformError.h"

#include <exception>
#include <memory>
#include <span>
#include <utility>

namespace InstallerCore {

namespace {

constexpr std::int64_t spaceMargin = 536'870'912; // bytes

std::int64_t withMargin(std::int64_t bytes) {
    return checkedAdd(bytes, spaceMargin);
}

std::int64_t measure(const std::filesystem::path& application, const Platform& platform) {
    std::unique_ptr<Folder> folder;
    try {
        folder = platform.folders.open(application);
    } catch (const PlatformError&) {
        throw InstallerError::message(ErrorText::cannotInspectSize);
    }
    return sizeOfTree(std::move(folder));
}

// The first bytes of the file, fewer only when it is shorter.
Bytes readStart(const std::filesystem::path& path, const Platform& platform) {
    constexpr std::size_t wanted = 4096;
    const auto file = platform.files.openForReading(path);
    Bytes bytes(wanted);
    std::size_t length = 0;
    while (length < wanted) {
        const std::size_t count = file->read(std::span(bytes).subspan(length));
        if (count == 0) {
            break;
        }
        length += count;
    }
    file->close();
    bytes.resize(length);
    return bytes;
}

// The part of an installation that changes the destination, from the staging directory on.
class Transaction {
public:
    using Phase = InstallationJournal::Phase;

    Transaction(const Installation& installation, std::filesystem::path directory, std::string version,
                const Platform& platform)
        : installation_(installation),
          platform_(platform),
          directory_(std::move(directory)),
          version_(std::move(version)),
          destination_(platform.folders.open(directory_)),
          staging_(StagingDirectory::create(*destination_)) {
        staging_.record(Phase::copying, version_);
    }

    // All or nothing, but for an application that replaced none and does not verify in its place: that stays.
    void replaceTarget(const std::filesystem::path& source) {
        try {
            copy(source);
            swap();
            installation_.verifyApp(directory_ / StagingDirectory::applicationName, version_);
        } catch (...) {
            rollBack();
            throw;
        }
    }

private:
    void copy(const std::filesystem::path& source) const {
        const auto copied = directory_ / staging_.name() / StagingDirectory::applicationName;
        run(platform_.paths.ditto, {"--rsrc", "--extattr", "--acl", source.string(), copied.string()},
            platform_);
        installation_.verifyApp(copied, version_);
        installation_.notRunning();
    }

    void swap() {
        staging_.record(Phase::replacing, version_);
        if (destination_->exists(StagingDirectory::applicationName)) {
            staging_.moveTargetToBackup();
            movedAside_ = true;
        }
        staging_.moveCopyToTarget();
        staging_.record(Phase::installed, version_);
    }

    // When it cannot be seen what is there, or not be put back, this ends here and recovery does the rest.
    void rollBack() {
        if (staging_.hasBackup()) {
            const bool hasTarget = contains(*destination_, StagingDirectory::applicationName);
            // A backup beside a target that was never moved aside was planted there.
            if (movedAside_ || !hasTarget) {
                restore(hasTarget);
            }
        }
        try {
            staging_.remove();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): recovery finds what is left
        }
    }

    void restore(bool hasTarget) {
        if (hasTarget) {
            staging_.takeRefusedTarget();
        }
        staging_.moveBackupToTarget();
    }

    const Installation& installation_;
    const Platform& platform_;
    std::filesystem::path directory_;
    std::string version_;
    std::unique_ptr<Folder> destination_;
    StagingDirectory staging_;
    bool movedAside_ = false; // the previous application
};

} // namespace

std::filesystem::path Installation::install(const std::filesystem::path& dmg, const Artifact& artifact,
                                            const std::filesystem::path& directory,
                                            const Progress& progress) const {
    notRunning();
    require(platform_.folders.isWritable(directory), ErrorText::applicationsNotWritable);
    checkSpace(directory, withMargin(checkedMultiply(2, artifact.installedSizeBytes)));
    if (const auto current = existing(directory, artifact.appVersion)) {
        return *current;
    }
    progress(InstallerMessage::verifying);
    require(hashFile(dmg, platform_) == artifact.sha512, ErrorText::packageChanged);
    const AttachedImage image(dmg, platform_);
    const auto source = image.mountPoint() / StagingDirectory::applicationName;
    checkSource(source, artifact, directory);

    Transaction transaction(*this, directory, artifact.appVersion, platform_);
    progress(InstallerMessage::installing);
    transaction.replaceTarget(source);
    return directory / StagingDirectory::applicationName;
}

void Installation::checkSource(const std::filesystem::path& source, const Artifact& artifact,
                               const std::filesystem::path& directory) const {
    require(platform_.files.attributes(source).type != FileType::symbolicLink, ErrorText::unexpectedLink);
    verifyApp(source, artifact.appVersion);
    checkSpace(directory, withMargin(measure(source, platform_)));
    checkArchitecture(source, artifact.arch);
}

void Installation::checkArchitecture(const std::filesystem::path& application,
                                     const std::string& architecture) const {
    const Bytes start = readStart(application / "Contents/MacOS/Kavio", platform_);
    require(machOArchitectures(start).contains(architecture), ErrorText::architectureMismatch);
}

} // namespace InstallerCore
