#pragma once

#include "hosts/linux/codesign/CmsSignature.h"
#include "hosts/linux/codesign/CodeDirectory.h"
#include "hosts/linux/codesign/SuperBlob.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace InstallerCore::CodeSign {

// The signature of one architecture. Owns a copy of its bytes, so that nothing changes between two looks.
// Never changes; any thread.
class CodeSignature {
public:
    // The super-blob in an executable. Throws SignatureError.
    explicit CodeSignature(ByteView superBlob);

    // What is kept outside of the code, in attributes or files of these names: CodeDirectory, CodeSignature,
    // CodeRequirements ... The function gives the content for a name, or nothing. Throws SignatureError when
    // there is no code directory.
    using Lookup = std::function<std::optional<Bytes>(const std::string& name)>;
    explicit CodeSignature(const Lookup& lookup);

    CodeSignature(const CodeSignature&) = delete;
    CodeSignature& operator=(const CodeSignature&) = delete;
    ~CodeSignature() = default;

    // In the order of their slots; at least one.
    [[nodiscard]] const std::vector<CodeDirectory>& directories() const noexcept { return directories_; }

    // The one with the strongest hash, which is asked for everything but the pages.
    [[nodiscard]] const CodeDirectory& best() const;

    [[nodiscard]] std::set<HashType> hashTypes() const;

    // The blob of that slot with its header; absent when there is none.
    [[nodiscard]] std::optional<ByteView> blob(std::uint32_t slot) const;

    // Proves who signed all directories; absent for an ad-hoc signature, which nobody did. Throws
    // SignatureError.
    [[nodiscard]] std::optional<Signer> signer(const TrustRoots& roots, std::time_t now) const;

private:
    void readDirectories();

    std::map<std::string, Bytes> storage_;
    SignatureBlobs blobs_; // views of the storage
    std::vector<CodeDirectory> directories_;
};

} // namespace InstallerCore::CodeSign
