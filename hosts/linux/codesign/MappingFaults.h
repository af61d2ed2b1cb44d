#pragma once

#include "InstallerCore/support/Bytes.h"

namespace InstallerCore::CodeSign {

// Watches a mapped file while it lives. Reading a page that the file no longer has raises SIGBUS; from the
// first object on, this process has a handler that puts a page of zeros there instead and remembers it. A
// SIGBUS from elsewhere goes to the handler that was there before. Objects may be made on any thread.
class MappingFaults {
public:
    // Throws SignatureError when more files are mapped than anything here needs at a time.
    explicit MappingFaults(ByteView mapping);
    MappingFaults(const MappingFaults&) = delete;
    MappingFaults& operator=(const MappingFaults&) = delete;
    ~MappingFaults(); // before the mapping goes

    // Whether a page was missing so far.
    [[nodiscard]] bool occurred() const noexcept;

private:
    std::size_t place_;
};

} // namespace InstallerCore::CodeSign
