#pragma once

#include "InstallerCore/support/Bytes.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// What each byte of a signed executable is, told apart from the verifier's own reading of it.
namespace InstallerCore::Testing {

// Some bytes of a file that mean one thing. Regions may overlap: pages cover the header.
struct CodeRegion {
    std::string kind; // as in "message"
    std::string part; // as in "message: signer: version"; the same for each slice
    std::size_t begin;
    std::size_t end;
    bool dense; // each byte of it has a meaning of its own
};

// A signature's blobs in the order of its index.
using Blobs = std::vector<std::pair<std::uint32_t, Bytes>>;

// One slice's signature, and the room that it has.
struct CodeSignaturePlace {
    std::string architecture;
    std::size_t begin;
    std::size_t size;
    Blobs blobs;
};

[[nodiscard]] std::vector<CodeRegion> regionsOf(ByteView executable);

// Whether the byte is room that a slice has for its signature and the signature does not fill.
[[nodiscard]] bool isPadding(ByteView executable, std::size_t offset);

[[nodiscard]] std::vector<CodeSignaturePlace> signaturesIn(ByteView executable);

// The regions of a CMS message that begins at that offset.
void addMessageRegions(std::vector<CodeRegion>& regions, ByteView message, std::size_t offset);

// What a value of a CMS message consists of: the name of that child of a value with that name. Empty when the
// parts of such a value are not told apart. Names begin with "message".
[[nodiscard]] std::string messagePart(const std::string& name, std::size_t child);

// A blob's kind, for the parts of regions and of damages: "code directory", "entitlements" ...
[[nodiscard]] std::string blobName(std::uint32_t slot);

} // namespace InstallerCore::Testing
