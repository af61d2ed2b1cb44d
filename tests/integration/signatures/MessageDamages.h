#pragma once

#include "rehearsal/signing/SigningIdentity.h"
#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

// Each value that the executable's CMS messages consist of, certificates and time stamps included: removed,
// doubled, exchanged with the next.
void damageMessages(DamageCampaign& campaign, const std::string& executable);

// Messages over the executable's own directories that its signer could have made, but for one thing each:
// attributes left out or about other code, certificates left out, other times, stamps by others.
void signDifferently(DamageCampaign& campaign, const std::string& executable,
                     const Rehearsal::SigningIdentity& identity, const Rehearsal::SigningIdentity& stranger);

} // namespace InstallerCore::Testing
