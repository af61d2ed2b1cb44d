#pragma once

#include "InstallerCore/support/Bytes.h"
#include "hosts/posix/Descriptor.h"

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <string>

namespace InstallerCore::CodeSign {

class MappingFaults;

// A regular file as it was when it was opened, in memory without being read in, unless it is so small that a
// copy costs less than a mapping. Others may change or cut the file meanwhile: what lies beyond its new end
// reads as zeros instead of ending the process, and demandUnchanged() tells. Never changes; any thread.
class MappedFile {
public:
    // Larger files are mapped.
    static constexpr std::size_t largestCopy = std::size_t{64} << 10U;

    // The entry of the directory, which is never followed when it is a link, and not even opened when it is
    // no regular file. Throws SignatureError.
    [[nodiscard]] static std::shared_ptr<const MappedFile> open(int directory, const std::string& name);

    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    [[nodiscard]] ByteView bytes() const noexcept { return bytes_; }

    // Throws SignatureError when anybody wrote to the file since it was opened, so that what was seen of it
    // may never have been in it at one time.
    void demandUnchanged() const;

    // The extended attribute of that name; absent when there is none. Throws SignatureError.
    [[nodiscard]] std::optional<Bytes> attribute(const std::string& name) const;

private:
    MappedFile(Descriptor file, const struct stat& status);

    void copy(std::size_t size);
    void map(std::size_t size);

    Descriptor file_;
    struct stat status_;
    // Of a small file; not a vector, which would be made zero first.
    std::unique_ptr<std::byte[]> copy_; // NOLINT(modernize-avoid-c-arrays)
    ByteView bytes_;
    std::unique_ptr<MappingFaults> faults_; // of a mapping; none: there is none
};

} // namespace InstallerCore::CodeSign
