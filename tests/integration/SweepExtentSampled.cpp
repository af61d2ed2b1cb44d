#include "tests/integration/InstallSweep.h"

namespace InstallerCore::Testing {

const SweepExtent sweepExtent = SweepExtent::sampled;

} // namespace InstallerCore::Testing
