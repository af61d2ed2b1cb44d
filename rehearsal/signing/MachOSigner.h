#pragma once

#include "rehearsal/signing/CodeSigner.h"

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::Rehearsal {

// What a signature says of its code.
struct SignedCode {
    std::string identifier;
    bool adHoc = false;
    std::vector<std::vector<CodeHash>> slices; // of each slice, in the file's order, of each code directory

    // The text that a seal demands of such code: the maker's designated requirement, or, of ad-hoc code, that
    // it is one of these directories.
    [[nodiscard]] std::string requirement(const std::string& team) const;
};

// Signs an executable file of Mach-O format, thin or universal, in place. Each slice loses the signature that
// it has, or gets a load command for one when its header has room. Slices keep their order and alignment. The
// identity may be null for an ad-hoc signature. Throws std::runtime_error. Files of 4 GiB and more, or for
// processors of 32 bits, are not served.
SignedCode signMachO(const std::filesystem::path& file, const SigningIdentity* identity,
                     const CodeOptions& options = {});

// The same in memory; the options' identifier must be set.
[[nodiscard]] Bytes signedMachO(ByteView file, const SigningIdentity* identity, const CodeOptions& options,
                                SignedCode& result);

// What the signatures of a signed executable file say. Throws std::runtime_error when a slice has none.
[[nodiscard]] SignedCode readSignedMachO(const std::filesystem::path& file);

// True for a file that begins as one, thin or universal, for processors of 64 bits.
[[nodiscard]] bool isMachO(const std::filesystem::path& file);

} // namespace InstallerCore::Rehearsal
