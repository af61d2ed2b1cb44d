#include "tests/integration/InstallSweep.h"

namespace InstallerCore::Testing {

const SweepExtent sweepExtent = SweepExtent::whole;

} // namespace InstallerCore::Testing
