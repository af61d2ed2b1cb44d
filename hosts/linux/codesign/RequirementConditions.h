#pragma once

#include "hosts/linux/codesign/Requirement.h"

#include <functional>
#include <vector>

// What the terms of the requirement language say. Each condition is a pure function; any thread.
namespace InstallerCore::CodeSign::Conditions {

using Condition = std::function<bool(const RequirementSubject&)>;

// Which certificate of a signer's chain: counted from the leaf, 0, or when negative back from the root, -1.
using Position = int;

// What a certificate's field must be: "exists" without a text, else equal to the text; loose at an end where
// any further text may stand.
struct Match {
    std::optional<std::string> text;
    bool looseBegin = false;
    bool looseEnd = false;
};

[[nodiscard]] Condition constant(bool value);
[[nodiscard]] Condition negation(Condition condition);
[[nodiscard]] Condition all(std::vector<Condition> conditions);
[[nodiscard]] Condition any(std::vector<Condition> conditions);

[[nodiscard]] Condition identifierIs(std::string identifier);
[[nodiscard]] Condition cdHashIs(Bytes cdHash);

// The chain ends in a trusted root, as every proven signer's does: there are no other trust settings here.
[[nodiscard]] Condition anchorTrusted();

// Besides, the leaf is one that Apple signs its own software with.
[[nodiscard]] Condition anchorApple();

// By the SHA-1 of the certificate.
[[nodiscard]] Condition certificateIs(Position position, Bytes sha1);

[[nodiscard]] Condition hasField(Position position, std::string identifier);

// False for a certificate without that attribute, whatever the match.
[[nodiscard]] Condition subjectMatches(Position position, std::string attribute, Match match);

} // namespace InstallerCore::CodeSign::Conditions
