#pragma once

#include "InstallerCore/support/Bytes.h"

#include <string>

namespace InstallerCore::Rehearsal {

// The second form of entitlements, without a blob's header: [APPLICATION 16] of INTEGER 1 and a dictionary. A
// dictionary is [16] of SEQUENCEs of a key (UTF8String) and its value: BOOLEAN, INTEGER, UTF8String, SEQUENCE
// or a dictionary. The property list must be one dictionary of such values; throws an exception of the
// standard library for anything else.
[[nodiscard]] Bytes derEntitlements(const std::string& propertyList);

} // namespace InstallerCore::Rehearsal
