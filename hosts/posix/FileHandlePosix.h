#pragma once

#include "InstallerCore/platform/Files.h"
#include "hosts/posix/Descriptor.h"

namespace InstallerCore {

class FileHandlePosix final : public FileHandle {
public:
    explicit FileHandlePosix(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    [[nodiscard]] std::size_t read(std::span<std::byte> buffer) override;
    void write(ByteView bytes) override;
    std::int64_t seekToEnd() override;
    void truncate(std::int64_t size) override;
    void synchronize() override;
    void close() override;

private:
    Descriptor descriptor_;
};

} // namespace InstallerCore
