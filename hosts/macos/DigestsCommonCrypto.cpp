#include "hosts/macos/DigestsCommonCrypto.h"

#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <bit>
#include <limits>

namespace InstallerCore {

namespace {

class Sha512CommonCrypto final : public Sha512 {
public:
    Sha512CommonCrypto() { CC_SHA512_Init(&context_); }

    void update(ByteView bytes) override {
        constexpr std::size_t longest = std::numeric_limits<CC_LONG>::max();
        while (!bytes.empty()) {
            const ByteView piece = bytes.first(std::min(bytes.size(), longest));
            CC_SHA512_Update(&context_, piece.data(), static_cast<CC_LONG>(piece.size()));
            bytes = bytes.subspan(piece.size());
        }
    }

    [[nodiscard]] std::array<std::byte, size> finish() override {
        std::array<unsigned char, size> digest{};
        CC_SHA512_Final(digest.data(), &context_);
        return std::bit_cast<std::array<std::byte, size>>(digest);
    }

private:
    CC_SHA512_CTX context_{};
};

static_assert(Sha512::size == CC_SHA512_DIGEST_LENGTH);

} // namespace

std::unique_ptr<Sha512> DigestsCommonCrypto::sha512() const {
    return std::make_unique<Sha512CommonCrypto>();
}

} // namespace InstallerCore
