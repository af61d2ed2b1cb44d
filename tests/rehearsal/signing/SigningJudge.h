#pragma once

#include "InstallerCore/support/Bytes.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <nlohmann/json_fwd.hpp>

#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

// What others make of signatures: a program of its own and OpenSSL.
namespace InstallerCore::Testing {

// An identity that all tests of a program share.
[[nodiscard]] const Rehearsal::SigningIdentity& sharedIdentity();

struct Judgement {
    int status;
    std::string text;
};

// judge.py with these arguments.
[[nodiscard]] Judgement judge(const std::vector<std::string>& arguments);

// What it finds in the file or in the bundle; fails the test when it does not approve.
[[nodiscard]] std::vector<nlohmann::json> judgeCode(const std::filesystem::path& file,
                                                    const std::vector<std::string>& sealed = {});
[[nodiscard]] std::vector<nlohmann::json> judgeBundle(const std::filesystem::path& bundle);

// Why OpenSSL refuses the detached message over the content, with its certificates seen at that time; "good"
// when it does not. The markers that it does not know are passed over.
[[nodiscard]] std::string verdictOnMessage(ByteView message, ByteView content, const std::string& rootPem,
                                           std::time_t time);

// The same of a time-stamp token over the value.
[[nodiscard]] std::string verdictOnToken(ByteView token, ByteView value, const std::string& rootPem,
                                         std::time_t time);

// The values of an attribute, DER, in its order; empty when there is none.
struct MessageParts {
    std::vector<std::string> certificates;                        // the common names, in their order
    std::map<std::string, std::vector<Bytes>> signedAttributes;   // by dotted identifier
    std::map<std::string, std::vector<Bytes>> unsignedAttributes; // likewise
    Bytes signature;
};

[[nodiscard]] MessageParts partsOf(ByteView message);

// When a time-stamp token says that it was made.
[[nodiscard]] std::time_t timeOf(ByteView token);

} // namespace InstallerCore::Testing
