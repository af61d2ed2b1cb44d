#include "rehearsal/signing/MachOSigner.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/CodeDirectory.h"
#include "rehearsal/signing/MachOFile.h"
#include "rehearsal/signing/Requirements.h"

#include <fstream>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::uint32_t armProcessor = 0x0100000c;
constexpr std::size_t signatureAlignment = 16;

unsigned usualPageSizeBits(std::uint32_t processor) {
    return processor == armProcessor ? 14 : 12;
}

std::size_t alignedForSignature(std::size_t size) {
    return (size + signatureAlignment - 1) / signatureAlignment * signatureAlignment;
}

struct SignedSlice {
    Bytes content;
    std::vector<CodeHash> hashes;
};

SignedSlice signSlice(ByteView unsignedSlice, const SigningIdentity* identity, CodeOptions options) {
    const MachOLayout layout = readLayout(unsignedSlice);
    if (!layout.infoPlist.empty()) {
        options.specialSlots.emplace(SpecialSlot::infoPlist,
                                     Bytes(layout.infoPlist.begin(), layout.infoPlist.end()));
    }
    const std::size_t end = layout.signatureCommand ? layout.signatureOffset : unsignedSlice.size();
    const ByteView code = slice(unsignedSlice, 0, end);
    SignedSlice result{.content = {code.begin(), code.end()}};
    result.content.resize(alignedForSignature(end));
    CodeSubject subject{
        .pageSizeBits = options.pageSizeBits.value_or(usualPageSizeBits(layout.processor)),
        .executableSegment = layout.textSize,
        .mainExecutable = layout.program,
    };
    if (layout.systemVersion) {
        subject.runtimeVersion = *layout.systemVersion;
    }
    const std::size_t room =
        alignedForSignature(signatureRoom(result.content.size(), subject.pageSizeBits, options));
    setSignaturePlace(result.content, layout, room);

    subject.content = result.content;
    const SignatureParts parts = signCode(subject, identity, options);
    const Bytes signature = joinParts(parts);
    if (signature.size() > room) {
        throw std::runtime_error("a signature is larger than was foreseen");
    }
    const std::size_t whole = result.content.size() + room;
    append(result.content, signature);
    result.content.resize(whole);
    result.hashes = parts.cdHashes();
    return result;
}

void readSlice(ByteView content, SignedCode& code) {
    const MachOLayout layout = readLayout(content);
    if (!layout.signatureCommand) {
        throw std::runtime_error("an executable is not signed");
    }
    SignatureParts parts;
    const ByteView signature =
        slice(content, layout.signatureOffset, content.size() - layout.signatureOffset);
    for (const auto& [slot, blob] : readSuperBlob(Magic::embeddedSignature, signature)) {
        if (load<std::uint32_t>(blob, 0, ByteOrder::big) != Magic::codeDirectory) {
            continue;
        }
        parts.codeDirectories.emplace_back(blob.begin(), blob.end());
        code.identifier = identifierOf(blob);
        code.adHoc = isAdHoc(blob);
    }
    code.slices.push_back(parts.cdHashes());
}

} // namespace

std::string SignedCode::requirement(const std::string& team) const {
    if (!adHoc) {
        return developerIdRequirement(identifier, team);
    }
    std::vector<CodeHash> all;
    for (const std::vector<CodeHash>& hashes : slices) {
        all.insert(all.end(), hashes.begin(), hashes.end());
    }
    return cdHashRequirement(all);
}

Bytes signedMachO(ByteView file, const SigningIdentity* identity, const CodeOptions& options,
                  SignedCode& result) {
    result = {.identifier = options.identifier, .adHoc = options.adHoc};
    std::vector<MachOSlice> slices = slicesOf(file);
    std::vector<Bytes> contents; // what the slices refer to
    contents.reserve(slices.size());
    for (MachOSlice& part : slices) {
        SignedSlice fresh = signSlice(part.content, identity, options);
        part.content = contents.emplace_back(std::move(fresh.content));
        result.slices.push_back(std::move(fresh.hashes));
    }
    return isUniversal(file) ? makeUniversal(slices) : contents.front();
}

SignedCode signMachO(const std::filesystem::path& file, const SigningIdentity* identity,
                     const CodeOptions& options) {
    CodeOptions complete = options;
    if (complete.identifier.empty()) {
        complete.identifier = file.stem().string();
    }
    SignedCode result;
    writeBytes(file, signedMachO(readBytes(file), identity, complete, result));
    return result;
}

SignedCode readSignedMachO(const std::filesystem::path& file) {
    const Bytes content = readBytes(file);
    SignedCode code;
    for (const MachOSlice& part : slicesOf(content)) {
        readSlice(part.content, code);
    }
    return code;
}

bool isMachO(const std::filesystem::path& file) {
    constexpr std::uint32_t thin = 0xfeedfacf;
    Bytes start(sizeof thin);
    std::ifstream stream(file, std::ios::binary);
    stream.read(reinterpret_cast<char*>(start.data()), static_cast<std::streamsize>(start.size()));
    return stream && (isUniversal(start) || load<std::uint32_t>(start, 0, ByteOrder::little) == thin);
}

} // namespace InstallerCore::Rehearsal
