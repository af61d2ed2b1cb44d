#include "hosts/linux/DigestsOpenSsl.h"

#include <openssl/evp.h>

#include <bit>
#include <new>

namespace InstallerCore {

namespace {

struct ContextDeleter {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

// OpenSSL's digests fail only for want of memory.
void check(int result) {
    if (result != 1) {
        throw std::bad_alloc();
    }
}

class Sha512OpenSsl final : public Sha512 {
public:
    Sha512OpenSsl() : context_(EVP_MD_CTX_new()) {
        check(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha512(), nullptr) : 0);
    }

    void update(ByteView bytes) override {
        check(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
    }

    [[nodiscard]] std::array<std::byte, size> finish() override {
        std::array<unsigned char, size> digest{};
        check(EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr));
        return std::bit_cast<std::array<std::byte, size>>(digest);
    }

private:
    std::unique_ptr<EVP_MD_CTX, ContextDeleter> context_;
};

} // namespace

std::unique_ptr<Sha512> DigestsOpenSsl::sha512() const {
    return std::make_unique<Sha512OpenSsl>();
}

} // namespace InstallerCore
