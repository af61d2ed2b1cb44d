#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

// Every entry of the bundle altered, removed, renamed and replaced by each other kind of entry; every
// directory with each kind of entry added. Of links the targets, too. Modes, dates and attributes as well,
// which are not part of a signature.
void damageEntries(DamageCampaign& campaign);

} // namespace InstallerCore::Testing
