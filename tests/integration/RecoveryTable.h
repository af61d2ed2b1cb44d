#pragma once

#include <span>
#include <string>

namespace InstallerCore::Testing {

// What the next start of the installer does.
enum class NextStart {
    installs,
    isCurrent,
    missesRecord,  // recovery refuses, now and later: the journal is missing
    findsMismatch, // recovery refuses, now and later: the target is not what the journal says
};

// One row of the table in docs/RECOVERY.md: what an installation that ended somewhere leaves, and what
// becomes of it. The words of a cell that stand between " or " are alternatives.
struct RecoveryRow {
    const char* interval;
    const char* target;    // "previous" version, "new" one, "none"
    const char* journal;   // phase; "no directory", "no record"
    const char* backup;    // "previous", "none"
    const char* nextStart; // in the words of the page
    NextStart result;
    const char* reachedIn; // the scenario of the sweep that must come to it
};

// Each state of the disk is in one row at most.
[[nodiscard]] std::span<const RecoveryRow> recoveryTable();

[[nodiscard]] bool isAbout(const RecoveryRow& row, const std::string& target, const std::string& journal,
                           const std::string& backup);

// Null when no row is about it, which no interruption may lead to.
[[nodiscard]] const RecoveryRow* findRow(const std::string& target, const std::string& journal,
                                         const std::string& backup);

// The row as the page has it.
[[nodiscard]] std::string asMarkdown(const RecoveryRow& row);

} // namespace InstallerCore::Testing
