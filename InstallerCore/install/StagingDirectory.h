#pragma once

#include "InstallerCore/install/InstallationJournal.h"
#include "InstallerCore/platform/Folders.h"

#include <memory>
#include <string>
#include <string_view>

namespace InstallerCore {

// The private directory, next to the application, in which one installation prepares the copy, keeps the
// application that it replaces and writes its journal. Every move to and from it is a rename in the open
// destination, which must outlive this object.
class StagingDirectory {
public:
    static constexpr const char* applicationName = "Kavio.app"; // of the target and of the copy
    static constexpr const char* backupName = "previous.app";

    // Whether an entry of the destination is one by its name.
    [[nodiscard]] static bool isName(std::string_view name);

    // A new one, under a name that nobody else uses.
    [[nodiscard]] static StagingDirectory create(Folder& destination);

    // One that an earlier run left. Throws PlatformError when it is no directory.
    [[nodiscard]] static StagingDirectory open(Folder& destination, const std::string& name);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    // Replaces the journal; it is on the disk when this returns.
    void record(InstallationJournal::Phase phase, const std::string& version);

    [[nodiscard]] InstallationJournal journal() const;

    // Of the entry itself: a link that leads nowhere is there.
    [[nodiscard]] bool hasBackup() const;
    [[nodiscard]] FileAttributes backupAttributes() const;

    void moveTargetToBackup();
    void moveCopyToTarget();
    void moveBackupToTarget();

    // Takes an application that is not to stay out of the target's place, to go with this directory.
    void takeRefusedTarget();

    // Removes the directory. The journal stays until everything else is gone, and then goes together with the
    // name, so a removal that is cut short leaves a record that recovery understands.
    void remove();

private:
    StagingDirectory(Folder& destination, std::string name, std::unique_ptr<Folder> folder)
        : destination_(&destination), name_(std::move(name)), folder_(std::move(folder)) {}

    Folder* destination_;
    std::string name_;
    std::unique_ptr<Folder> folder_;
};

// Whether the folder holds an entry of exactly this name, be it a link that leads nowhere.
[[nodiscard]] bool contains(Folder& folder, std::string_view name);

} // namespace InstallerCore
