#pragma once

#include "hosts/linux/codesign/RequirementConditions.h"

#include <string_view>

namespace InstallerCore::CodeSign {

// The condition that the text states:
//
//   requirement = conjunction { "or" conjunction }
//   conjunction = term { "and" term }
//   term        = "!" term | "(" requirement ")" | "always" | "true" | "never" | "false"
//               | "identifier" [ "=" ] VALUE | "cdhash" HASH
//               | "anchor" ( "apple" [ "generic" ] | "trusted" | "=" HASH )
//               | ( "certificate" | "cert" ) POSITION ( "=" HASH | field )
//   POSITION    = "leaf" | "root" | "anchor" | [ "-" ] NUMBER
//   field       = "[" "subject." NAME "]" [ "exists" | "=" [ "*" ] VALUE [ "*" ] ]
//               | "[" "field." OID "]" [ "exists" ]
//   VALUE       = a quoted text, or letters, digits and dots that are no keyword
//   HASH        = H"40 hexadecimal digits"
//
// Not here, as neither our text nor seals or applications use them: comparisons by order, values of fields by
// OID, info, entitlement, certificates as files, and sets of requirements ("designated => ...").
//
// Throws RequirementSyntaxError, also for a text of more than 64 KiB, or one that nests more than 64 deep.
// Pure; any thread.
[[nodiscard]] Conditions::Condition parseRequirement(std::string_view text);

} // namespace InstallerCore::CodeSign
