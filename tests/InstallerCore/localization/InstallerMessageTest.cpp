#include "InstallerCore/localization/InstallerMessage.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

using enum InstallerMessage;

const struct {
    InstallerMessage message;
    const char* key;
    const char* english;
} rows[] = {
    {checking, "desktop_installer_checking", "Checking release\u2026"},
    {downloading, "desktop_installer_downloading", "Downloading Kavio\u2026"},
    {verifying, "desktop_installer_verifying", "Verifying application\u2026"},
    {installing, "desktop_installer_installing", "Installing Kavio\u2026"},
    {installed, "desktop_installer_installed", "Kavio is installed."},
    {opening, "desktop_installer_opening", "Opening Kavio\u2026"},
    {saving, "desktop_installer_saving", "Saving download progress\u2026"},
    {paused, "desktop_installer_paused", "Download paused."},
    {network_error, "desktop_installer_network_error",
     "Unable to download Kavio. Check your connection and retry."},
    {disk_error, "desktop_installer_disk_error", "Not enough disk space. Free up space and retry."},
    {permission_error, "desktop_installer_permission_error",
     "Unable to write to Applications. Check folder permissions and retry."},
    {verification_error, "desktop_installer_verification_error",
     "Unable to verify the installer or application. Download the installer again."},
    {unsupported_error, "desktop_installer_unsupported_error", "This Mac or macOS version is not supported."},
    {running_error, "desktop_installer_running_error",
     "Kavio is running. Save your work and quit Kavio, then click Retry to continue installing."},
    {launch_error, "desktop_installer_launch_error", "Unable to open Kavio. Please retry."},
    {generic_error, "desktop_installer_generic_error", "Unable to continue. Please retry."},
    {retry, "common_retry", "Retry"},
};

TEST(InstallerMessageTest, SeventeenMessagesAreListedInTheirOrder) {
    ASSERT_EQ(std::size(rows), 17U);
    ASSERT_EQ(allInstallerMessages.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(allInstallerMessages.at(i), rows[i].message) << rows[i].key;
    }
}

TEST(InstallerMessageTest, EachHasItsKeyAndItsEnglishText) {
    for (const auto& row : rows) {
        EXPECT_EQ(catalogKey(row.message), row.key);
        EXPECT_EQ(englishText(row.message), row.english);
    }
}

} // namespace

} // namespace InstallerCore
