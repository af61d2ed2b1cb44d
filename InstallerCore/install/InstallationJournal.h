#pragma once

#include "InstallerCore/support/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace InstallerCore {

// What an installation announces before each step that changes the destination: one compact JSON object in
// the file "transaction.json" of its staging directory, all members texts.
struct InstallationJournal {
    static constexpr const char* fileName = "transaction.json";

    enum class Phase {
        copying,   // the copy may be incomplete; the target has not been touched
        replacing, // the copy is whole; the target is about to be moved aside and replaced
        installed, // the copy is the target; a backup, if any, is still there
    };

    std::optional<Phase> phase;         // absent when the record names none that is known
    std::optional<std::string> version; // that is being installed

    [[nodiscard]] static Bytes encode(Phase phase, const std::string& version);

    // Throws InstallerError "Invalid installation journal" for anything but an object of texts whose "target"
    // is the application, and a PlatformError of the JSON domain for what is no JSON document.
    [[nodiscard]] static InstallationJournal decode(ByteView record);

    [[nodiscard]] static std::string_view name(Phase phase);
};

} // namespace InstallerCore
