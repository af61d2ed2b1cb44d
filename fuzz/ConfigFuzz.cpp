#include "InstallerCore/config/Config.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"

// The input is a configuration as JSON.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    using Fuzz::check;
    Config config;
    try {
        config = Config::decode(std::as_bytes(std::span(data, size)));
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::json, "a configuration fails with an error of its own domain");
        check(*error.what() != '\0', "the error has a description");
        return 0;
    }
    const Bytes encoded = config.encode();
    check(Config::decode(encoded) == config, "coding keeps every value");
    check(Config::decode(encoded).encode() == encoded, "coding twice changes nothing");
    check(asText(encoded).starts_with("{\"installerVersion\":\""), "the keys are written in their order");
    try {
        const Url url = config.url(config.channelURL);
        check(url.text() == config.channelURL && !config.allowedHosts.empty(),
              "a trusted channel is on an allowed host");
    } catch (const InstallerError& error) {
        check(error.errorDescription() == "Untrusted download URL", "distrust has one text");
    }
    return 0;
}
