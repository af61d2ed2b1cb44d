#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"

#include <algorithm>
#include <optional>

// The input is JSON, read as an artifact and as a manifest.

namespace InstallerCore::Fuzz {

namespace {

template <typename Record>
std::optional<Record> decoded(ByteView json) {
    try {
        return Record::decode(json);
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::json, "a record fails with an error of its own domain");
        return std::nullopt;
    }
}

template <typename Record>
void checkCoding(const Record& record) {
    const Bytes encoded = record.encode();
    check(decoded<Record>(encoded) == record, "coding keeps every value");
    check(Record::decode(encoded).encode() == encoded, "coding twice changes nothing");
}

void checkChoice(const Manifest& manifest, const std::string& arch) {
    const auto fits = [&arch](const Artifact& artifact) {
        return artifact.platform == "macos" && artifact.arch == arch;
    };
    const auto first = std::find_if(manifest.artifacts.begin(), manifest.artifacts.end(), fits);
    try {
        const Artifact chosen = manifest.artifact(arch);
        check(first != manifest.artifacts.end() && chosen == *first, "the first image that fits is chosen");
    } catch (const InstallerError& error) {
        check(first == manifest.artifacts.end(), "an image that fits is chosen");
        check(error.errorDescription() == "This Mac is not supported by this release",
              "no choice has one text");
    }
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    const ByteView json = std::as_bytes(std::span(data, size));
    if (const auto artifact = Fuzz::decoded<Artifact>(json)) {
        Fuzz::checkCoding(*artifact);
        const Manifest manifest{{*artifact}};
        Fuzz::checkCoding(manifest);
        Fuzz::checkChoice(manifest, artifact->arch);
    }
    if (const auto manifest = Fuzz::decoded<Manifest>(json)) {
        Fuzz::checkCoding(*manifest);
        Fuzz::checkChoice(*manifest, "arm64");
        Fuzz::checkChoice(*manifest, "x64");
    }
    return 0;
}
