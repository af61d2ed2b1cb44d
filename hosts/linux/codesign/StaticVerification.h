#pragma once

#include "hosts/linux/codesign/HashType.h"
#include "hosts/linux/codesign/Requirement.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

// What is proven of one architecture.
struct VerifiedSlice {
    std::string architecture; // "" in a file without a list of them
    RequirementSubject subject;
    HashType hashType;       // of the code directory that was asked, which has the strongest
    std::uint32_t flags = 0; // of the same
};

// Static validity, as a Mac's code-signing service finds it with the flags for all architectures, nested code
// and strict validation: every slice of the main executable is signed and unaltered, its signer's chain leads
// to a trusted root, the Info.plist and every other entry of the bundle is as it was sealed, and the same
// holds for all code in it. With a requirement, every slice meets it.
//
// The path is a bundle or an executable; what is in a bundle is never followed out of it. Hashes on all
// cores; what it keeps in memory does not grow with the size of the files. Returns the slices of the main
// executable. Throws SignatureError, whose text names the place below the path.
[[nodiscard]] std::vector<VerifiedSlice> verifyStatic(const std::filesystem::path& path,
                                                      const Requirement* requirement, const TrustRoots& roots,
                                                      std::time_t now);

} // namespace InstallerCore::CodeSign
