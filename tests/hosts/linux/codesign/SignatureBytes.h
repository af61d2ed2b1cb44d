#pragma once

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/codesign/HashType.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Signatures made byte by byte, for tests that then change some.
namespace InstallerCore::Testing {

// Magic, length, content.
[[nodiscard]] Bytes blobOf(std::uint32_t magic, ByteView content);

// Slots and blobs, in that order.
[[nodiscard]] Bytes superBlobOf(const std::vector<std::pair<std::uint32_t, Bytes>>& blobs);

struct DirectoryShape {
    std::uint32_t version = 0x20400;
    std::uint32_t flags = 2; // ad hoc
    std::string identifier = "test.code";
    std::string team; // empty: none
    CodeSign::HashType type = CodeSign::HashType::sha256;
    unsigned pageBits = 12;
    std::map<std::uint32_t, Bytes> specialHashes; // by slot; zeros between them
};

// The code directory of that code: the fields that its version has, identifier, team, hashes.
[[nodiscard]] Bytes directoryOf(ByteView code, const DirectoryShape& shape = {});

} // namespace InstallerCore::Testing
