#include "tests/integration/RecoveryTable.h"

#include <algorithm>
#include <string_view>

namespace InstallerCore::Testing {

namespace {

constexpr const char* installs = "installs";
constexpr const char* clears = "removes the staging directory, then installs";
constexpr const char* putsBack =
    "puts the previous application back, removes the staging directory, then installs";
constexpr const char* opens = "finds the new application complete and changes nothing";
constexpr const char* missesRecord =
    "refuses: \"The file to be read does not exist.\"; nothing is changed, at no later start either";
constexpr const char* findsMismatch =
    "refuses: \"Application version mismatch\"; nothing is changed, at no later start either";

constexpr RecoveryRow rows[] = {
    {"Before the staging directory is made, or after a rollback has removed it", "previous or none",
     "no directory", "none", installs, NextStart::installs, "Upgrade"},
    {"Between making the staging directory and its first record", "previous or none", "no record", "none",
     missesRecord, NextStart::missesRecord, "FirstInstallation"},
    {"From the first record until the verified copy is announced; also a rollback of that",
     "previous or none", "copying", "none", clears, NextStart::installs, "RecoveryOfAnUnfinishedCopy"},
    {"Upgrade: from the record \"replacing\" until the previous application is moved aside; also a rollback "
     "or a recovery between putting it back and removing the staging directory",
     "previous", "replacing", "none", findsMismatch, NextStart::findsMismatch, "Upgrade"},
    {"First installation: from the record \"replacing\" until the new application is in place", "none",
     "replacing", "none", clears, NextStart::installs, "FirstInstallation"},
    {"Upgrade: from moving the previous application aside until the new one is in place; also a rollback "
     "before it has put the previous one back",
     "none", "replacing or installed", "previous", putsBack, NextStart::installs, "Upgrade"},
    {"From the new application in its place until the record \"installed\"", "new", "replacing",
     "previous or none", opens, NextStart::isCurrent, "FirstInstallation"},
    {"From the record \"installed\" on", "new", "installed", "previous or none", opens, NextStart::isCurrent,
     "Upgrade"},
    {"A rollback after the record \"installed\", between putting the previous application back and removing "
     "the staging directory",
     "previous", "installed", "none", findsMismatch, NextStart::findsMismatch, "Rollback"},
    {"First installation: after a rollback with the new application already in place, which stays", "new",
     "no directory", "none", opens, NextStart::isCurrent, "RefusedFirstInstallation"},
};

// Whether the word is among the alternatives of the cell.
bool holds(std::string_view cell, std::string_view word) {
    constexpr std::string_view separator = " or ";
    while (true) {
        const std::size_t end = cell.find(separator);
        if (cell.substr(0, end) == word) {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        cell.remove_prefix(end + separator.size());
    }
}

} // namespace

std::span<const RecoveryRow> recoveryTable() {
    return rows;
}

bool isAbout(const RecoveryRow& row, const std::string& target, const std::string& journal,
             const std::string& backup) {
    return holds(row.target, target) && holds(row.journal, journal) && holds(row.backup, backup);
}

const RecoveryRow* findRow(const std::string& target, const std::string& journal, const std::string& backup) {
    const auto* const found = std::find_if(std::begin(rows), std::end(rows), [&](const RecoveryRow& row) {
        return isAbout(row, target, journal, backup);
    });
    return found == std::end(rows) ? nullptr : found;
}

std::string asMarkdown(const RecoveryRow& row) {
    std::string line = "|";
    for (const char* const cell : {row.interval, row.target, row.journal, row.backup, row.nextStart}) {
        line.append(" ").append(cell).append(" |");
    }
    return line;
}

} // namespace InstallerCore::Testing
