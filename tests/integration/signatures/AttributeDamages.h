#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

// Whether the file's volume keeps an extended attribute of that many bytes.
[[nodiscard]] bool keepsAttributes(const std::filesystem::path& file, std::size_t size);

// The extended attributes that hold a script's signature: each removed, emptied, exchanged with another, and
// one bit of each of its bytes flipped.
void damageAttributes(DamageCampaign& campaign, const std::string& script);

} // namespace InstallerCore::Testing
