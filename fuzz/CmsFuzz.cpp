#include "fuzz/Check.h"
#include "fuzz/SignatureSamples.h"
#include "hosts/linux/codesign/CmsSignature.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <array>

// The input is the message that signs the sample's code directory, or something like it.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    using namespace CodeSign;
    static const std::string directory = Fuzz::sample("code-directory");
    static const Signer original =
        verifyCms(asBytes(Fuzz::sample("cms")),
                  std::array{SignedDirectory{.type = HashType::sha256, .blob = asBytes(directory)}},
                  Fuzz::sampleRoots(), Fuzz::sampleTime);
    try {
        const std::array directories{SignedDirectory{.type = HashType::sha256, .blob = asBytes(directory)}};
        const Signer signer = verifyCms(std::as_bytes(std::span(data, size)), directories,
                                        Fuzz::sampleRoots(), Fuzz::sampleTime);
        Fuzz::check(signer.chain.front().fingerprint() == original.chain.front().fingerprint(),
                    "nobody but the signer signed the directory");
        Fuzz::check(Fuzz::sampleRoots().contain(signer.chain.back()), "a chain ends in a root");
        Fuzz::check(!signer.timeStamp || signer.timeStamp == original.timeStamp,
                    "nobody but the authority stamped it");
    } catch (const SignatureError& error) {
        Fuzz::check(*error.what() != '\0', "a refusal has a reason");
    }
    return 0;
}
