#pragma once

#include "InstallerCore/support/Bytes.h"

#include <array>
#include <cstddef>
#include <memory>

namespace InstallerCore {

// One SHA-512 computation, fed in pieces. For one thread at a time.
class Sha512 {
public:
    static constexpr std::size_t size = 64;

    virtual ~Sha512() = default;

    virtual void update(ByteView bytes) = 0;

    // The digest of all that was fed; the object is spent afterwards.
    [[nodiscard]] virtual std::array<std::byte, size> finish() = 0;
};

// The system's message digests. May be called from any thread.
class Digests {
public:
    virtual ~Digests() = default;

    [[nodiscard]] virtual std::unique_ptr<Sha512> sha512() const = 0;
};

} // namespace InstallerCore
