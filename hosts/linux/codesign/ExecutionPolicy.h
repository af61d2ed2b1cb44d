#pragma once

#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <filesystem>

namespace InstallerCore::CodeSign {

enum class StapledTicket { notAsked, required };

// Whether a Mac would let its user open the downloaded application: valid in the sense of verifyStatic, each
// slice signed with a Developer ID (markers on leaf and intermediate), with a time stamp and for the hardened
// runtime, and, if asked for, with a stapled ticket that lists the main executable. Refuses as well what has
// no place in a download: links that leave the bundle, files that change their user, and anything that is
// neither file nor directory nor link. Throws SignatureError.
void assessExecution(const std::filesystem::path& application, StapledTicket ticket, const TrustRoots& roots,
                     std::time_t now);

} // namespace InstallerCore::CodeSign
