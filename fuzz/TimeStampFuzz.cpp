#include "fuzz/Check.h"
#include "fuzz/SignatureSamples.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/TimeStamp.h"

// The input is the token over the sample's signature, or something like it.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    static const std::string signature = Fuzz::sample("signature-value");
    static const std::time_t original = CodeSign::verifyTimeStamp(
        asBytes(Fuzz::sample("time-stamp")), asBytes(signature), {}, Fuzz::sampleRoots(), Fuzz::sampleTime);
    try {
        const std::time_t time =
            CodeSign::verifyTimeStamp(std::as_bytes(std::span(data, size)), asBytes(signature), {},
                                      Fuzz::sampleRoots(), Fuzz::sampleTime);
        Fuzz::check(time == original, "nobody but the authority says when it was");
    } catch (const CodeSign::SignatureError& error) {
        Fuzz::check(*error.what() != '\0', "a refusal has a reason");
    }
    return 0;
}
