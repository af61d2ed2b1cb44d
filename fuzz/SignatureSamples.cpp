#include "fuzz/SignatureSamples.h"

#include "fuzz/Check.h"

#include <fstream>
#include <iterator>

namespace InstallerCore::Fuzz {

std::string sample(const std::string& name) {
    std::ifstream stream(std::string(FUZZ_SAMPLES) + "/" + name, std::ios::binary);
    check(stream.is_open(), "the sample is there");
    return {std::istreambuf_iterator<char>(stream), {}};
}

const CodeSign::TrustRoots& sampleRoots() {
    static const CodeSign::TrustRoots roots = CodeSign::TrustRoots::fromPem(sample("root.pem"));
    return roots;
}

} // namespace InstallerCore::Fuzz
