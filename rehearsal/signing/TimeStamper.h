#pragma once

#include "InstallerCore/support/Bytes.h"
#include "rehearsal/signing/SignatureHash.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <ctime>

namespace InstallerCore::Rehearsal {

// A time-stamp token (RFC 3161, DER) that says that the value existed at that time, with the chain of the
// identity's time-stamp authority. Any time goes, also one at which its certificates are not valid. Throws
// std::runtime_error. Any thread.
[[nodiscard]] Bytes makeTimeStamp(const SigningIdentity& identity, ByteView value, std::time_t time,
                                  SignatureHash hash);

} // namespace InstallerCore::Rehearsal
