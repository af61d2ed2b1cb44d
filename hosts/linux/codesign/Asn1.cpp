#include "hosts/linux/codesign/Asn1.h"

#include <openssl/objects.h>

namespace InstallerCore::CodeSign {

namespace {

constexpr int decimalsOnly = 1;

} // namespace

ObjectIdentifier objectIdentifier(const std::string& text) {
    const DroppedErrors errors;
    ObjectIdentifier identifier(OBJ_txt2obj(text.c_str(), decimalsOnly));
    // OpenSSL reads more than it writes: a dot too many, blanks, leading zeros.
    return identifier != nullptr && dotted(identifier.get()) == text ? std::move(identifier) : nullptr;
}

std::string dotted(const ASN1_OBJECT* identifier) {
    const int length = OBJ_obj2txt(nullptr, 0, identifier, decimalsOnly);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0'); // OpenSSL ends it with NUL
    OBJ_obj2txt(text.data(), length + 1, identifier, decimalsOnly);
    text.pop_back();
    return text;
}

} // namespace InstallerCore::CodeSign
