#include "tests/integration/signatures/DamageCampaign.h"

namespace InstallerCore::Testing {

const DamageExtent damageExtent = DamageExtent::whole;

} // namespace InstallerCore::Testing
