#include "rehearsal/signing/BundleSigner.h"

#include "rehearsal/signing/CodeResources.h"
#include "rehearsal/signing/MachOFile.h"
#include "rehearsal/signing/ScriptSigner.h"

#include <algorithm>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

// What a seal names of code for several processors: its first slice's best directory.
Bytes bestHash(const SignedCode& code) {
    const std::vector<CodeHash>& hashes = code.slices.front();
    return std::max_element(hashes.begin(), hashes.end(),
                            [](const CodeHash& a, const CodeHash& b) { return a.type < b.type; })
        ->hash;
}

SignedCode readSignedFile(const fs::path& file) {
    return isMachO(file) ? readSignedMachO(file) : readSignedScript(file);
}

SignedCode readSigned(const fs::path& path) {
    return readSignedFile(fs::is_directory(path) ? codeOfBundle(path).front().executable : path);
}

SignedCode signFile(const fs::path& file, const SigningIdentity* identity, CodeOptions options) {
    if (options.identifier.empty()) {
        options.identifier = file.stem().string();
    }
    return isMachO(file) ? signMachO(file, identity, options) : signScript(file, identity, options);
}

// What of the options holds for all code.
BundleOptions forNestedCode(const BundleOptions& options) {
    BundleOptions nested = options;
    nested.code.identifier.clear();
    nested.code.entitlements.clear();
    nested.code.requirements.reset();
    nested.code.specialSlots.clear();
    return nested;
}

// The mode does not depend on the mask of this process.
void writeSeal(const fs::path& base, const std::string& seal) {
    using enum fs::perms;
    constexpr fs::perms readable = owner_read | owner_write | group_read | others_read;
    const fs::path folder = base / "_CodeSignature";
    fs::remove_all(folder);
    fs::create_directory(folder);
    fs::permissions(folder, readable | owner_exec | group_exec | others_exec);
    writeBytes(folder / "CodeResources", asBytes(seal));
    fs::permissions(folder / "CodeResources", readable);
}

SignedCode signOne(const BundleCode& bundle, const SigningIdentity* identity, const BundleOptions& options) {
    const auto nested = [&](const fs::path& path) -> NestedSeal {
        const SignedCode code =
            options.deep ? sign(path, identity, forNestedCode(options)) : readSigned(path);
        const std::string team = identity == nullptr ? "" : identity->team();
        return {.cdHash = bestHash(code),
                .requirement = options.nestedRequirement.value_or(code.requirement(team))};
    };
    const std::string seal = makeCodeResources(
        bundle, {.hashes = options.code.hashes, .older = options.olderSeal, .newer = options.newerSeal},
        nested);
    writeSeal(bundle.base, seal);

    CodeOptions code = options.code;
    if (code.identifier.empty()) {
        code.identifier = bundle.identifier;
    }
    code.specialSlots.emplace(SpecialSlot::infoPlist, readBytes(bundle.informationList));
    code.specialSlots.emplace(SpecialSlot::codeResources, toBytes(seal));
    return signFile(bundle.executable, identity, code);
}

void collect(const fs::path& path, std::vector<SignedCode>& all) {
    if (!fs::is_directory(path)) {
        all.push_back(readSignedFile(path));
        return;
    }
    for (const BundleCode& code : codeOfBundle(path)) {
        all.push_back(readSignedFile(code.executable));
        for (const SealEntry& entry : entriesOf(code)) {
            if (entry.kind == SealEntry::Kind::nestedCode) {
                collect(code.base / entry.path, all);
            }
        }
    }
}

} // namespace

SignedCode signBundle(const fs::path& bundle, const SigningIdentity* identity, const BundleOptions& options) {
    SignedCode first;
    bool current = true; // of several versions the one that the bundle stands for
    for (const BundleCode& code : codeOfBundle(bundle)) {
        const SignedCode result = signOne(code, identity, options);
        if (current) {
            first = result;
        }
        current = false;
    }
    return first;
}

SignedCode sign(const fs::path& path, const SigningIdentity* identity, const BundleOptions& options) {
    return fs::is_directory(path) ? signBundle(path, identity, options)
                                  : signFile(path, identity, options.code);
}

std::vector<SignedCode> readSignedBundle(const fs::path& bundle) {
    std::vector<SignedCode> all;
    collect(bundle, all);
    return all;
}

} // namespace InstallerCore::Rehearsal
