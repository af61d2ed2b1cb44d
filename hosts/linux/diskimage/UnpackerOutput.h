#pragma once

#include "hosts/posix/Descriptor.h"

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>

namespace InstallerCore {

// The decoded disk of a UDIF image as 7-Zip's program writes it to its standard output: all partitions, one
// behind the other. The program is killed when this object goes before it has ended.
class UnpackerOutput {
public:
    // The absolute path of the program and the open image. Throws PlatformError of the process-launch domain.
    UnpackerOutput(const std::string& program, int image);
    UnpackerOutput(const UnpackerOutput&) = delete;
    UnpackerOutput& operator=(const UnpackerOutput&) = delete;
    ~UnpackerOutput();

    // Fills the buffer. Throws DiskImageError when the output ends before, PlatformError when it cannot be
    // read.
    void read(std::span<std::byte> buffer);

    // Waits for the end. Throws DiskImageError when more output comes or when the program says that it
    // failed.
    void finish();

private:
    [[nodiscard]] std::size_t readSome(std::span<std::byte> buffer) const;

    Descriptor output_;
    pid_t child_ = -1;
};

} // namespace InstallerCore
