#pragma once

#include "tests/support/SystemCallTracer.h"

#include <linux/filter.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

// Which calls of the system a tracer stops at, and what they are about.
namespace InstallerCore::Testing {

// A filter that reports those calls to the tracer and lets all others run.
[[nodiscard]] std::vector<sock_filter> callFilter(TracedEffects effects);

struct RawCall {
    std::uint64_t number = 0;
    std::array<std::uint64_t, 6> arguments{};
};

// The call that the stopped thread is about to make; absent when it has been killed meanwhile.
[[nodiscard]] std::optional<RawCall> rawCall(pid_t thread);

// The stopped thread will not make the call, but go on as if it had failed.
void skipCall(pid_t thread, int errorNumber);

// Name, effect and paths of the call; absent when it is about no entry of a file system or has, in detail, an
// effect that is not wanted.
[[nodiscard]] std::optional<SystemCall> describeCall(pid_t thread, const RawCall& call,
                                                     TracedEffects effects);

} // namespace InstallerCore::Testing
