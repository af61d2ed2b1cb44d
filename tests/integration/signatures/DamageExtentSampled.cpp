#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

const DamageExtent damageExtent = DamageExtent::sampled;

} // namespace InstallerCore::Testing
