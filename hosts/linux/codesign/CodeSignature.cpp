#include "hosts/linux/codesign/CodeSignature.h"

#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>
#include <array>

namespace InstallerCore::CodeSign {

namespace {

struct NamedSlot {
    std::uint32_t slot;
    const char* name;
};

// The names outside of executables. The second directory bears a name that looks like a mistake, and is what
// is found in the field.
constexpr std::array<NamedSlot, 7> namedSlots = {
    {{.slot = Slot::codeDirectory, .name = "CodeDirectory"},
     {.slot = Slot::requirements, .name = "CodeRequirements"},
     {.slot = Slot::topDirectory, .name = "CodeTopDirectory"},
     {.slot = Slot::entitlements, .name = "CodeEntitlements"},
     {.slot = Slot::representation, .name = "CodeRepSpecific"},
     {.slot = Slot::alternateDirectories, .name = "CodeRequirements-1"},
     {.slot = Slot::cms, .name = "CodeSignature"}}};

int strength(HashType type) {
    switch (type) {
    case HashType::sha384:
        return 3;
    case HashType::sha256:
        return 2;
    case HashType::sha256Truncated:
        return 1;
    case HashType::sha1:
        return 0;
    }
    return -1;
}

// The message without the header that it has in an executable, but not outside of one.
ByteView cmsMessage(ByteView blob) {
    constexpr std::byte sequence{0x30}; // what every message begins with
    if (!blob.empty() && blob.front() == sequence) {
        return blob;
    }
    demand(blobMagic(blob) == cmsMagic, "the signature is damaged");
    return blob.subspan(blobHeaderSize);
}

} // namespace

CodeSignature::CodeSignature(ByteView superBlob) {
    Bytes& copy = storage_["signature"];
    copy.assign(superBlob.begin(), superBlob.end());
    blobs_ = readSuperBlob(copy);
    readDirectories();
}

CodeSignature::CodeSignature(const Lookup& lookup) {
    for (const auto& [slot, name] : namedSlots) {
        if (auto content = lookup(name)) {
            blobs_[slot] = storage_[name] = std::move(*content);
        }
    }
    readDirectories();
}

void CodeSignature::readDirectories() {
    const auto add = [this](std::uint32_t slot) {
        const auto found = blobs_.find(slot);
        if (found == blobs_.end()) {
            return false;
        }
        CodeDirectory directory = CodeDirectory::parse(found->second);
        demand(!hashTypes().contains(directory.type()), "the signature has two directories with one hash");
        directories_.push_back(std::move(directory));
        return true;
    };
    demand(add(Slot::codeDirectory), "is not signed");
    for (std::uint32_t slot = Slot::alternateDirectories; slot < Slot::alternateDirectoriesEnd && add(slot);
         ++slot) {
    }
}

const CodeDirectory& CodeSignature::best() const {
    return *std::max_element(directories_.begin(), directories_.end(),
                             [](const CodeDirectory& a, const CodeDirectory& b) {
                                 return strength(a.type()) < strength(b.type());
                             });
}

std::set<HashType> CodeSignature::hashTypes() const {
    std::set<HashType> types;
    for (const CodeDirectory& directory : directories_) {
        types.insert(directory.type());
    }
    return types;
}

std::optional<ByteView> CodeSignature::blob(std::uint32_t slot) const {
    const auto found = blobs_.find(slot);
    return found == blobs_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<Signer> CodeSignature::signer(const TrustRoots& roots, std::time_t now) const {
    if ((best().flags() & CodeDirectory::adHoc) != 0) {
        return std::nullopt;
    }
    const auto wrapped = blob(Slot::cms);
    demand(wrapped.has_value(), "the signature names no signer");
    std::vector<SignedDirectory> signedDirectories;
    signedDirectories.reserve(directories_.size());
    for (const CodeDirectory& directory : directories_) {
        signedDirectories.push_back({.type = directory.type(), .blob = directory.blob()});
    }
    return verifyCms(cmsMessage(*wrapped), signedDirectories, roots, now);
}

} // namespace InstallerCore::CodeSign
