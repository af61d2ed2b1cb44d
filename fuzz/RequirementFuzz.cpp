#include "fuzz/Check.h"
#include "fuzz/SignatureSamples.h"
#include "hosts/linux/codesign/Requirement.h"

#include <array>
#include <string>

// The input is the text of a requirement.

namespace {

using namespace InstallerCore;
using CodeSign::Requirement;

// Code that somebody signed, and code that nobody did.
const std::array<CodeSign::RequirementSubject, 2>& subjects() {
    static const std::array<CodeSign::RequirementSubject, 2> result = [] {
        const auto& root = Fuzz::sampleRoots().certificates().front();
        const CodeSign::RequirementSubject adHoc{
            .identifier = "test.mykavio.app", .cdHash = Bytes(CodeSign::cdHashSize), .signer = std::nullopt};
        CodeSign::RequirementSubject signedCode = adHoc;
        signedCode.signer = CodeSign::Signer{.chain = {root, root}, .timeStamp = std::nullopt};
        return std::array{adHoc, signedCode};
    }();
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(Fuzz::textOf(data, size));
    const auto requirement = Requirement::compile(text);
    if (!requirement) {
        return 0;
    }
    // A comment may end with the line only.
    const auto negated = Requirement::compile("!(" + text + "\n)");
    const auto narrowed = Requirement::compile("(" + text + "\n) and never");
    const auto widened = Requirement::compile("always or (" + text + "\n)");
    for (const auto& subject : subjects()) {
        const bool isMet = requirement->isMetBy(subject);
        Fuzz::check(!negated || negated->isMetBy(subject) != isMet, "the contrary is the contrary");
        Fuzz::check(!narrowed || !narrowed->isMetBy(subject), "nothing meets a requirement and never");
        Fuzz::check(!widened || widened->isMetBy(subject), "everything meets always or a requirement");
    }
    return 0;
}
