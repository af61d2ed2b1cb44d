#pragma once

#include "tests/integration/signatures/DamageCampaign.h"

#include <string>
#include <vector>

namespace InstallerCore::Testing {

// A validly signed bundle that is not the one under test, whose parts are put in its place.
struct Donor {
    std::string name; // as in "another version"
    std::filesystem::path bundle;
};

// The blobs of each slice's signature: removed, emptied, exchanged, doubled, put in another order, and those
// of the donors in their place.
void damageBlobs(DamageCampaign& campaign, const std::string& executable, const std::vector<Donor>& donors);

// The files of the donors in place of the bundle's, wherever both have one.
void exchangeFiles(DamageCampaign& campaign, const std::vector<Donor>& donors);

} // namespace InstallerCore::Testing
