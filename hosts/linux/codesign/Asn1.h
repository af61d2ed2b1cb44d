#pragma once

#include "hosts/linux/codesign/OpenSsl.h"

#include <optional>
#include <string>

namespace InstallerCore::CodeSign {

using ObjectIdentifier = Owned<ASN1_OBJECT, ASN1_OBJECT_free>;

// Of dotted decimals as they are commonly written; null for any other text.
[[nodiscard]] ObjectIdentifier objectIdentifier(const std::string& text);

// In dotted decimals.
[[nodiscard]] std::string dotted(const ASN1_OBJECT* identifier);

inline void freeElements(ASN1_SEQUENCE_ANY* elements) {
    sk_ASN1_TYPE_pop_free(elements, ASN1_TYPE_free);
}

using Asn1Sequence = Owned<ASN1_SEQUENCE_ANY, freeElements>;

// The elements of exactly one sequence; null for anything else.
[[nodiscard]] inline Asn1Sequence parseSequence(ByteView encoded) {
    return parseWhole<freeElements>(encoded, d2i_ASN1_SEQUENCE_ANY);
}

// The content of a string of that kind (V_ASN1_OCTET_STRING ...); of a sequence or set, its whole encoding.
// Lives as long as the value. Absent when it is of another kind.
[[nodiscard]] inline std::optional<ByteView> contentOf(const ASN1_TYPE* value, int kind) {
    if (value == nullptr || ASN1_TYPE_get(value) != kind) {
        return std::nullopt;
    }
    return content(value->value.asn1_string);
}

} // namespace InstallerCore::CodeSign
