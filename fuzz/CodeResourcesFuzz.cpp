#include "fuzz/Check.h"
#include "hosts/linux/codesign/CodeResources.h"
#include "hosts/linux/codesign/SignatureError.h"

// The input is a bundle's list of seals and rules.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    try {
        const CodeSign::CodeResources resources =
            CodeSign::readCodeResources(std::as_bytes(std::span(data, size)));
        for (const char* const path : {"MacOS/Kavio", "Resources/Kavio.txt", "Frameworks/KavioKit.framework",
                                       "a\nb", "\xff", "Info.plist/x", ".DS_Store/x"}) {
            Fuzz::check(resources.rules.verdict(path).isSealed, "no rules leave ordinary entries out");
        }
        for (const auto& [path, seal] : resources.seals) {
            static_cast<void>(resources.rules.verdict(path));
            const auto* const file = std::get_if<CodeSign::Seal::File>(&seal.content);
            Fuzz::check(file == nullptr || !file->hashes.empty(), "a sealed file has a hash");
        }
    } catch (const CodeSign::SignatureError& error) {
        Fuzz::check(*error.what() != '\0', "a refusal has a reason");
    }
    return 0;
}
