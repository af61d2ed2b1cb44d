#pragma once

#include <cstddef>
#include <functional>

namespace InstallerCore {

// Calls work(0) to work(count - 1), handed out in this order, on as many threads as there are cores, but at
// most eight. Each thread gets its work from makeWork, on itself. After something was thrown nothing new
// begins; once all threads have ended, what the lowest number threw goes on to the caller.
using Work = std::function<void(std::size_t index)>;
void runOnAllCores(std::size_t count, const std::function<Work()>& makeWork);

} // namespace InstallerCore
