#pragma once

#include "hosts/linux/codesign/HashType.h"
#include "hosts/linux/codesign/ResourceRules.h"

#include <map>
#include <string>
#include <variant>

namespace InstallerCore::CodeSign {

// What a bundle's signature says of one entry of the bundle.
struct Seal {
    struct File {
        std::map<HashType, Bytes> hashes;
    };

    struct Link {
        std::string target;
    };

    struct NestedCode {
        std::string requirement; // that it has to meet
    };

    std::variant<File, Link, NestedCode> content;
    bool optional = false; // it may be missing
};

// The seals and rules of a bundle: the property list _CodeSignature/CodeResources.
struct CodeResources {
    std::map<std::string, Seal> seals; // by the path below the directory that is sealed
    ResourceRules rules;
};

// Reads the property list and refuses what strict validation refuses: one with seals of version 1 only, and
// rules that leave out more than every bundle may. Throws SignatureError. Pure; any thread.
//
// The format is described in Apple's technical note 2206, "macOS Code Signing In Depth".
[[nodiscard]] CodeResources readCodeResources(ByteView propertyList);

} // namespace InstallerCore::CodeSign
