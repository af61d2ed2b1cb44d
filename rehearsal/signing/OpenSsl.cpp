#include "rehearsal/signing/OpenSsl.h"

namespace InstallerCore::Rehearsal {

Bytes signatureOf(ByteView content, EVP_PKEY* key, const EVP_MD* function) {
    const auto context = owned(EVP_MD_CTX_new(), "signature");
    Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
    std::size_t size = signature.size();
    check(EVP_DigestSignInit(context.get(), nullptr, function, nullptr, key) == 1 &&
              EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                             raw(content), content.size()) == 1,
          "signature");
    signature.resize(size); // those of elliptic curves vary
    return signature;
}

} // namespace InstallerCore::Rehearsal
