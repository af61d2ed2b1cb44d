#pragma once

#include "tests/integration/signatures/CodeMap.h"
#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

// What it is to flip those bits of a byte in the region.
[[nodiscard]] Damage bitDamage(const CodeRegion& region, const std::string& file, std::byte mask);

// One bit of a byte, wherever the executable has one: of every byte that has a meaning of its own, of the
// first, the last and one more byte of every page and of every space. With everyBit all eight of each byte of
// the signature in turn.
void flipBytes(DamageCampaign& campaign, const std::string& executable, bool everyBit);

} // namespace InstallerCore::Testing
