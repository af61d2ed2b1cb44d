#include "tests/integration/signatures/BlobDamages.h"

#include "rehearsal/signing/Blob.h"
#include "tests/integration/signatures/CodeMap.h"
#include "tests/integration/signatures/SignatureEditor.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t indexEnd(std::size_t entries) {
    return 12 + 8 * entries;
}

// Alterations of one signature.
class BlobDamages {
public:
    BlobDamages(SignatureEditor& editor, Blobs blobs) : editor_(editor), blobs_(std::move(blobs)) {}

    void run() {
        for (std::size_t i = 0; i < blobs_.size(); ++i) {
            single(i);
            for (std::size_t j = i + 1; j < blobs_.size(); ++j) {
                exchange(i, j);
            }
        }
        Blobs reversed(blobs_.rbegin(), blobs_.rend());
        editor_.write("blobs in another order", "", makeSignature(reversed));
        Blobs more = blobs_;
        constexpr std::uint32_t unknownSlot = 0x20000;
        more.emplace_back(unknownSlot, Rehearsal::makeBlob(Rehearsal::Magic::wrapper, asBytes("added")));
        editor_.write("a blob added in an unknown slot", "", makeSignature(more));
        reorderIndex();
        constexpr std::size_t gap = 16;
        editor_.write("zeros between the blobs", "", makeSignature(blobs_, Bytes(gap)));
        editor_.write("something between the blobs", "", makeSignature(blobs_, Bytes(gap, std::byte{1})));
        editor_.write("no blob left", "", makeSignature({}));
    }

private:
    void single(std::size_t i) {
        const std::string name = blobName(blobs_[i].first);
        Blobs fewer = blobs_;
        fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
        editor_.write("a blob removed", name, makeSignature(fewer));
        Blobs twice = blobs_;
        twice.push_back(blobs_[i]);
        editor_.write("a blob doubled", name, makeSignature(twice));
        Blobs empty = blobs_;
        std::fill(empty[i].second.begin(), empty[i].second.end(), std::byte{0});
        editor_.write("a blob filled with zeros", name, makeSignature(empty));
        Blobs bare = blobs_;
        std::fill(bare[i].second.begin() + 8, bare[i].second.end(), std::byte{0});
        editor_.write("a blob's content filled with zeros", name, makeSignature(bare));
        bare[i].second = Rehearsal::makeBlob(Rehearsal::Magic::wrapper, {});
        editor_.write("an empty blob in place of one", name, makeSignature(bare));
        Blobs elsewhere = blobs_;
        ++elsewhere[i].first;
        editor_.write("a blob in the next slot", name, makeSignature(elsewhere));
    }

    void exchange(std::size_t i, std::size_t j) {
        Blobs exchanged = blobs_;
        std::swap(exchanged[i].second, exchanged[j].second);
        editor_.write("two blobs exchanged", blobName(blobs_[i].first) + " and " + blobName(blobs_[j].first),
                      makeSignature(exchanged));
    }

    // The entries change places, the blobs do not.
    void reorderIndex() {
        Bytes signature = makeSignature(blobs_);
        constexpr std::ptrdiff_t entrySize = 8;
        const auto begin = signature.begin() + static_cast<std::ptrdiff_t>(indexEnd(0));
        const auto end = signature.begin() + static_cast<std::ptrdiff_t>(indexEnd(blobs_.size()));
        std::rotate(begin, begin + entrySize, end);
        editor_.write("an index in another order", "", signature);
    }

    SignatureEditor& editor_;
    Blobs blobs_;
};

// In place of a signature's own blobs those of another.
void takeBlobs(SignatureEditor& editor, const Blobs& own, const Blobs& foreign, const std::string& donor) {
    editor.write("a signature of " + donor, "", makeSignature(foreign));
    for (std::size_t i = 0; i < own.size(); ++i) {
        for (const auto& [slot, blob] : foreign) {
            if (slot == own[i].first) {
                Blobs mixed = own;
                mixed[i].second = blob;
                editor.write("a blob of " + donor, blobName(slot), makeSignature(mixed));
            }
        }
    }
}

} // namespace

void damageBlobs(DamageCampaign& campaign, const std::string& executable, const std::vector<Donor>& donors) {
    std::vector<SignatureEditor> editors = editorsFor(campaign, executable);
    for (SignatureEditor& editor : editors) {
        BlobDamages(editor, editor.place().blobs).run();
        for (const SignatureEditor& other : editors) {
            takeBlobs(editor, editor.place().blobs, other.place().blobs, "another architecture");
        }
        for (const Donor& donor : donors) {
            const fs::path file = donor.bundle / executable;
            if (!fs::exists(file)) {
                continue;
            }
            const std::string content = readFile(file);
            for (const CodeSignaturePlace& place : signaturesIn(asBytes(content))) {
                const bool isSame = place.architecture == editor.place().architecture;
                takeBlobs(editor, editor.place().blobs, place.blobs,
                          isSame ? donor.name : donor.name + " for another processor");
            }
        }
    }
    campaign.expectSound();
}

void exchangeFiles(DamageCampaign& campaign, const std::vector<Donor>& donors) {
    for (const Donor& donor : donors) {
        for (const auto& entry : fs::recursive_directory_iterator(donor.bundle)) {
            const fs::path name = entry.path().lexically_relative(donor.bundle);
            const fs::path own = campaign.subject().path / name;
            if (entry.is_regular_file() && !entry.is_symlink() && fs::is_regular_file(own)) {
                campaign.rewrite({.kind = "a file of " + donor.name, .part = "", .file = name.string()},
                                 readFile(entry.path()));
            }
        }
    }
    campaign.expectSound();
}

} // namespace InstallerCore::Testing
