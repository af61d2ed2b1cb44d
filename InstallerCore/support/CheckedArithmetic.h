#pragma once

#include <cstdint>

namespace InstallerCore {

// Arithmetic on byte counts. An overflow can only be a defect of the program, so it aborts the process
// instead of reporting an error. Pure; any thread.

[[nodiscard]] std::int64_t checkedAdd(std::int64_t a, std::int64_t b);
[[nodiscard]] std::int64_t checkedSubtract(std::int64_t a, std::int64_t b);
[[nodiscard]] std::int64_t checkedMultiply(std::int64_t a, std::int64_t b);

} // namespace InstallerCore
