#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/integration/RecoveryTable.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace InstallerCore::Testing {

namespace {

using testing::HasSubstr;

// The rows of the first table of the page, without its head.
std::vector<std::string> rowsOfPage() {
    std::istringstream page(readFile(RECOVERY_PAGE));
    std::vector<std::string> rows;
    std::string line;
    while (std::getline(page, line) && (rows.empty() || !line.empty())) {
        if (line.starts_with("|")) {
            rows.push_back(line);
        }
    }
    constexpr std::size_t head = 2;
    if (rows.size() < head) {
        return {};
    }
    return {rows.begin() + head, rows.end()};
}

TEST(RecoveryPageTest, HasTheTableThatTheSweepGoesBy) {
    std::vector<std::string> expected;
    for (const RecoveryRow& row : recoveryTable()) {
        expected.push_back(asMarkdown(row));
    }
    EXPECT_EQ(rowsOfPage(), expected);
}

TEST(RecoveryPageTest, SaysWhatToDoForEachReason) {
    const std::string page = readFile(RECOVERY_PAGE);
    const std::string missing = PlatformError(FileErrorCode::readNoSuchFile).what();
    const std::string noPermission = PlatformError(FileErrorCode::readNoPermission).what();
    const std::string readOnly = PlatformError(FileErrorCode::writeVolumeReadOnly).what();
    for (const std::string_view reason :
         {std::string_view(missing), std::string_view(noPermission), std::string_view(readOnly),
          ErrorText::versionMismatch, ErrorText::signatureMismatch, ErrorText::invalidBundle,
          ErrorText::identityMismatch, ErrorText::missingIdentity, ErrorText::invalidJournal,
          ErrorText::unknownPhase, ErrorText::missingTransactionVersion, ErrorText::unsafeRecoveryDirectory,
          ErrorText::unsafeRecoveryBackup, ErrorText::applicationRunning, ErrorText::unsupportedSystem}) {
        EXPECT_THAT(page, HasSubstr("\"" + std::string(reason) + "\""));
    }
    const std::string policy = ErrorText::toolFailed("spctl", 3);
    EXPECT_THAT(page, HasSubstr(policy.substr(0, policy.find('3'))));
}

TEST(RecoveryPageTest, ShowsTheLineOfTheLog) {
    EXPECT_THAT(readFile(RECOVERY_PAGE),
                HasSubstr(ErrorText::recoveryRefused({.directory = "DIRECTORY",
                                                      .phase = "PHASE",
                                                      .version = "VERSION",
                                                      .installedVersion = "INSTALLED",
                                                      .reason = "REASON"})));
}

TEST(RecoveryPageTest, NoStateIsInTwoRows) {
    for (const char* const target : {"none", "previous", "new"}) {
        for (const char* const journal : {"no directory", "no record", "copying", "replacing", "installed"}) {
            for (const char* const backup : {"none", "previous"}) {
                const RecoveryRow* const found = findRow(target, journal, backup);
                const auto rows = recoveryTable();
                const auto matches = std::count_if(rows.begin(), rows.end(), [&](const RecoveryRow& row) {
                    return isAbout(row, target, journal, backup);
                });
                EXPECT_EQ(matches, found == nullptr ? 0 : 1) << target << ", " << journal << ", " << backup;
            }
        }
    }
}

} // namespace

} // namespace InstallerCore::Testing
