#pragma once

#include "hosts/linux/codesign/Certificate.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <span>

namespace InstallerCore::CodeSign {

// How far ahead of this machine's clock a time that somebody else attests may be: as far as clocks are wrong
// that were set in another time zone.
inline constexpr std::time_t clockAllowance = std::time_t{24} * 60 * 60;

// When a time-stamp authority saw the signature, proven by its token (RFC 3161): the token is over exactly
// these bytes, its signer is certified for time stamps and nothing else, and was so at the token's own time,
// since such certificates live for weeks, by a chain to a trusted root. The helpers, certificates of the
// signature around it, may fill gaps in that chain. Throws SignatureError. Any thread.
[[nodiscard]] std::time_t verifyTimeStamp(ByteView token, ByteView signature,
                                          std::span<const Certificate> helpers, const TrustRoots& roots,
                                          std::time_t now);

} // namespace InstallerCore::CodeSign
