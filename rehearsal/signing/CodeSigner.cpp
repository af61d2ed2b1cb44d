#include "rehearsal/signing/CodeSigner.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/CodeDirectory.h"
#include "rehearsal/signing/Entitlements.h"
#include "rehearsal/signing/Requirements.h"

#include <algorithm>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::uint32_t usualVersion = 0x20400;
constexpr std::uint32_t versionWithRuntime = 0x20500;

std::uint32_t flagsOf(const CodeOptions& options) {
    const std::uint32_t usual = (options.adHoc ? DirectoryFlag::adHoc : 0U) |
                                (options.hardenedRuntime ? DirectoryFlag::hardenedRuntime : 0U);
    return options.flags.value_or(usual);
}

std::uint32_t versionOf(const CodeOptions& options) {
    const bool runtime = (flagsOf(options) & DirectoryFlag::hardenedRuntime) != 0;
    return options.version.value_or(runtime ? versionWithRuntime : usualVersion);
}

Bytes requirementsOf(const SigningIdentity* identity, const CodeOptions& options) {
    if (options.requirements) {
        return *options.requirements;
    }
    return options.adHoc ? emptyRequirementSet() : requirementSet(options.identifier, identity->team());
}

std::map<unsigned, ByteView> specialSlots(const SignatureParts& parts, const CodeOptions& options) {
    std::map<unsigned, ByteView> slots(options.specialSlots.begin(), options.specialSlots.end());
    const std::initializer_list<std::pair<unsigned, const Bytes*>> blobs = {
        {SpecialSlot::requirements, &parts.requirements},
        {SpecialSlot::entitlements, &parts.entitlements},
        {SpecialSlot::derEntitlements, &parts.derEntitlements}};
    for (const auto& [slot, blob] : blobs) {
        if (!blob->empty()) {
            slots.emplace(slot, *blob); // not in place of what the options want to see sealed
        }
    }
    return slots;
}

} // namespace

std::vector<CodeHash> SignatureParts::cdHashes() const {
    std::vector<CodeHash> hashes;
    for (const Bytes& directory : codeDirectories) {
        DirectoryDigest full = digestOf(directory);
        full.digest.resize(cdHashSize);
        hashes.push_back({.type = full.type, .hash = std::move(full.digest)});
    }
    return hashes;
}

SignatureParts signCode(const CodeSubject& subject, const SigningIdentity* identity,
                        const CodeOptions& options) {
    if (options.identifier.empty() || options.hashes.empty() || (identity == nullptr && !options.adHoc)) {
        throw std::runtime_error("a signature needs an identifier, a digest and an identity");
    }
    SignatureParts parts{.requirements = requirementsOf(identity, options)};
    if (!options.entitlements.empty()) {
        parts.entitlements = makeBlob(Magic::entitlements, asBytes(options.entitlements));
        if (options.derEntitlements) {
            parts.derEntitlements = makeBlob(Magic::derEntitlements, derEntitlements(options.entitlements));
        }
    }
    DirectoryFields fields{.hash = {},
                           .identifier = options.identifier,
                           .team = options.adHoc || !options.teamIdentifier ? "" : identity->team(),
                           .flags = flagsOf(options),
                           .version = versionOf(options),
                           .specialSlots = specialSlots(parts, options)};
    for (const SignatureHash hash : options.hashes) {
        fields.hash = hash;
        parts.codeDirectories.push_back(makeCodeDirectory(subject, fields));
    }
    const Bytes message = options.adHoc ? Bytes() : signCms(*identity, parts.codeDirectories, options.cms);
    parts.cms = makeBlob(Magic::wrapper, message);
    return parts;
}

Bytes joinParts(const SignatureParts& parts) {
    std::map<std::uint32_t, ByteView> blobs;
    const std::initializer_list<std::pair<std::uint32_t, const Bytes*>> single = {
        {Slot::requirements, &parts.requirements},
        {Slot::entitlements, &parts.entitlements},
        {Slot::derEntitlements, &parts.derEntitlements},
        {Slot::signature, &parts.cms}};
    for (const auto& [slot, blob] : single) {
        if (!blob->empty()) {
            blobs[slot] = *blob;
        }
    }
    std::uint32_t slot = Slot::codeDirectory;
    for (const Bytes& directory : parts.codeDirectories) {
        blobs[slot] = directory;
        slot = std::max(slot + 1, Slot::moreCodeDirectories);
    }
    return makeSuperBlob(Magic::embeddedSignature, blobs);
}

std::size_t signatureRoom(std::size_t size, unsigned pageSizeBits, const CodeOptions& options) {
    constexpr std::size_t slots = 16;       // more than there are special ones
    constexpr std::size_t someTexts = 1024; // headers, team, requirements
    constexpr std::size_t message = 16384;  // six certificates and two signatures
    std::size_t room = someTexts + 2 * options.identifier.size() + 2 * options.entitlements.size() +
                       options.requirements.value_or(Bytes()).size() + (options.adHoc ? 0 : message);
    for (const SignatureHash hash : options.hashes) {
        room += someTexts + options.identifier.size() +
                storedSize(hash) * (pageCount(size, pageSizeBits) + slots);
    }
    return room;
}

} // namespace InstallerCore::Rehearsal
