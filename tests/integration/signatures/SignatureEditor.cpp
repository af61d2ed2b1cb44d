#include "tests/integration/signatures/SignatureEditor.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/ByteOrder.h"
#include "tests/support/TemporaryDirectory.h"

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t blobHeader = 8;

} // namespace

Bytes SignatureEditor::message() const {
    for (const auto& [slot, blob] : place_.blobs) {
        if (slot == Rehearsal::Slot::signature && blob.size() > blobHeader) {
            return {blob.begin() + blobHeader, blob.end()};
        }
    }
    return {};
}

void SignatureEditor::write(const std::string& kind, const std::string& part, const Bytes& signature) {
    if (signature.size() > place_.size) {
        return;
    }
    std::string room(asText(signature));
    room.resize(place_.size);
    std::string changed = content_;
    changed.replace(place_.begin, room.size(), room);
    campaign_.rewrite({.kind = kind, .part = part, .file = executable_}, changed);
}

void SignatureEditor::writeMessage(const std::string& kind, const std::string& part, const Bytes& message) {
    Blobs blobs = place_.blobs;
    for (auto& [slot, blob] : blobs) {
        if (slot == Rehearsal::Slot::signature) {
            blob = Rehearsal::makeBlob(Rehearsal::Magic::wrapper, message);
        }
    }
    write(kind, part, makeSignature(blobs));
}

std::vector<SignatureEditor> editorsFor(DamageCampaign& campaign, const std::string& executable) {
    const std::string content = readFile(campaign.subject().path / executable);
    std::vector<SignatureEditor> editors;
    for (CodeSignaturePlace& place : signaturesIn(asBytes(content))) {
        editors.emplace_back(campaign, executable, content, std::move(place));
    }
    return editors;
}

Bytes makeSignature(const Blobs& blobs, const Bytes& gap) {
    using Rehearsal::append;
    using Rehearsal::ByteOrder;
    Bytes content;
    append(content, static_cast<std::uint32_t>(blobs.size()), ByteOrder::big);
    std::size_t offset = blobHeader + sizeof(std::uint32_t) + 2 * sizeof(std::uint32_t) * blobs.size();
    for (const auto& [slot, blob] : blobs) {
        offset += gap.size();
        append(content, slot, ByteOrder::big);
        append(content, static_cast<std::uint32_t>(offset), ByteOrder::big);
        offset += blob.size();
    }
    for (const auto& [slot, blob] : blobs) {
        append(content, gap);
        append(content, blob);
    }
    return Rehearsal::makeBlob(Rehearsal::Magic::embeddedSignature, content);
}

} // namespace InstallerCore::Testing
