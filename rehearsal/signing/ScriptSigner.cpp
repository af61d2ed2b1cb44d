#include "rehearsal/signing/ScriptSigner.h"

#include "rehearsal/signing/CodeDirectory.h"
#include "rehearsal/signing/MachOFile.h"

#include <sys/xattr.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace InstallerCore::Rehearsal {

namespace {

std::string attributeName(const std::string& part) {
    return "user.com.apple.cs." + part;
}

std::string directoryName(std::size_t index) {
    return attributeName(index == 0 ? "CodeDirectory" : "CodeRequirements-" + std::to_string(index));
}

void setAttribute(const std::filesystem::path& file, const std::string& name, const Bytes& value) {
    if (::setxattr(file.c_str(), name.c_str(), value.data(), value.size(), 0) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot set " + name + " of " + file.string());
    }
}

// Empty when there is none.
Bytes attribute(const std::filesystem::path& file, const std::string& name) {
    constexpr std::size_t largest = 65536; // what the system allows for one
    Bytes value(largest);
    const ssize_t size = ::getxattr(file.c_str(), name.c_str(), value.data(), value.size());
    value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return value;
}

} // namespace

SignedCode signScript(const std::filesystem::path& file, const SigningIdentity* identity,
                      const CodeOptions& options) {
    const Bytes content = readBytes(file);
    const CodeSubject subject{.content = content, .pageSizeBits = options.pageSizeBits.value_or(0)};
    const SignatureParts parts = signCode(subject, identity, options);
    for (std::size_t i = 0; i < parts.codeDirectories.size(); ++i) {
        setAttribute(file, directoryName(i), parts.codeDirectories[i]);
    }
    if (!parts.requirements.empty()) {
        setAttribute(file, attributeName("CodeRequirements"), parts.requirements);
    }
    setAttribute(file, attributeName("CodeSignature"), parts.cms);
    return {.identifier = options.identifier, .adHoc = options.adHoc, .slices = {parts.cdHashes()}};
}

SignedCode readSignedScript(const std::filesystem::path& file) {
    SignatureParts parts;
    for (Bytes blob; !(blob = attribute(file, directoryName(parts.codeDirectories.size()))).empty();) {
        parts.codeDirectories.push_back(std::move(blob));
    }
    if (parts.codeDirectories.empty()) {
        throw std::runtime_error("a script is not signed: " + file.string());
    }
    const Bytes& first = parts.codeDirectories.front();
    return {.identifier = identifierOf(first), .adHoc = isAdHoc(first), .slices = {parts.cdHashes()}};
}

} // namespace InstallerCore::Rehearsal
