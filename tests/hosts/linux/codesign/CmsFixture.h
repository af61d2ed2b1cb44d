#pragma once

#include "rehearsal/signing/CmsSigner.h"
#include "tests/hosts/linux/codesign/SigningFixture.h"

#include <span>
#include <vector>

namespace InstallerCore::Testing {

// Signatures over code directories that are nothing but a kind of hash and some bytes.
class CmsFixture : public SigningFixture {
protected:
    [[nodiscard]] static Bytes directory(CodeSign::HashType type, char filling = 'x') {
        constexpr std::size_t kindOfHash = 37; // where a code directory states it
        Bytes blob = toBytes(std::string(100, filling));
        blob[kindOfHash] = static_cast<std::byte>(type);
        return blob;
    }

    [[nodiscard]] static CodeSign::HashType typeOf(ByteView blob) {
        return CodeSign::hashType(std::to_integer<std::uint8_t>(blob[37])).value();
    }

    [[nodiscard]] CodeSign::Signer verify(ByteView message, const std::vector<Bytes>& blobs) const {
        return verify(message, blobs, roots_);
    }

    [[nodiscard]] CodeSign::Signer verify(ByteView message, const std::vector<Bytes>& blobs,
                                          const CodeSign::TrustRoots& roots) const {
        std::vector<CodeSign::SignedDirectory> directories;
        for (const Bytes& blob : blobs) {
            directories.push_back({.type = typeOf(blob), .blob = blob});
        }
        return CodeSign::verifyCms(message, directories, roots, now_);
    }

    void expectRefused(const std::string& text, ByteView message, const std::vector<Bytes>& blobs) const {
        expectSignatureError(text, [&] { (void)verify(message, blobs); });
    }

    // A message made like that over these directories is refused.
    void expectRefused(const std::string& text, const Rehearsal::CmsOptions& options,
                       const std::vector<Bytes>& blobs) const {
        expectRefused(text, Rehearsal::signCms(identity_, blobs, options), blobs);
    }

    // A message of that identity is refused.
    void expectRefused(const std::string& text, const Rehearsal::SigningIdentity& identity,
                       const Rehearsal::CmsOptions& options = {}) const {
        expectRefused(text, Rehearsal::signCms(identity, one_, options), one_);
    }

    const std::vector<Bytes> one_{directory(CodeSign::HashType::sha256)};
    const std::vector<Bytes> two_{directory(CodeSign::HashType::sha1), directory(CodeSign::HashType::sha256)};
};

} // namespace InstallerCore::Testing
