#include "fuzz/Check.h"
#include "fuzz/SignatureSamples.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/Ticket.h"

// The input is the ticket that is stapled to the sample, or something like it.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    static const auto entries =
        CodeSign::verifyTicket(asBytes(Fuzz::sample("ticket")), Fuzz::sampleRoots(), Fuzz::sampleTime)
            .entries;
    try {
        const auto ticket = CodeSign::verifyTicket(std::as_bytes(std::span(data, size)), Fuzz::sampleRoots(),
                                                   Fuzz::sampleTime);
        Fuzz::check(ticket.entries == entries, "nobody but the authority vouches for code");
    } catch (const CodeSign::SignatureError& error) {
        Fuzz::check(*error.what() != '\0', "a refusal has a reason");
    }
    return 0;
}
