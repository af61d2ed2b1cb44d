#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// The Mach-O files of a bundle, links not followed, by their paths in it.
[[nodiscard]] std::vector<std::string> executablesIn(const std::filesystem::path& bundle);

// What the installer asks of an application.
[[nodiscard]] CodeSign::Requirement requirementFor(const std::string& identifier, const std::string& team);

} // namespace InstallerCore::Testing
