#include "tests/integration/signatures/MessageDamages.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/CmsSigner.h"
#include "rehearsal/signing/TimeStamper.h"
#include "tests/integration/signatures/DerTree.h"
#include "tests/integration/signatures/SignatureEditor.h"

#include <chrono>

namespace InstallerCore::Testing {

namespace {

using Rehearsal::CmsOptions;
using Rehearsal::DirectoryDigest;

// Alters one message value by value. Each child is changed in the one tree, and changed back.
class MessageDamages {
public:
    MessageDamages(SignatureEditor& editor, DerNode message)
        : editor_(editor), message_(std::move(message)) {}

    void run() { damageChildren(message_, "message", "message"); }

private:
    // Values that have no names of their own bear that of the one that they are in.
    void damageChildren(DerNode& node, const std::string& name, const std::string& path) {
        for (std::size_t i = 0; i < node.children.size(); ++i) {
            const std::string child = messagePart(name, i);
            std::string childPath = path;
            if (!child.empty()) {
                childPath += ": " + child;
            }
            damageChild(node.children, i, childPath);
            damageChildren(node.children[i], child, childPath);
        }
    }

    void damageChild(std::vector<DerNode>& children, std::size_t i, const std::string& path) {
        const auto at = children.begin() + static_cast<std::ptrdiff_t>(i);
        const DerNode child = *at;
        children.erase(at);
        write("a value removed from", path);
        children.insert(children.begin() + static_cast<std::ptrdiff_t>(i), 2, child);
        write("a value doubled in", path);
        children.erase(children.begin() + static_cast<std::ptrdiff_t>(i));
        if (i + 1 < children.size()) {
            std::swap(children[i], children[i + 1]);
            write("a value exchanged with the next in", path);
            std::swap(children[i], children[i + 1]);
        }
    }

    void write(const std::string& kind, const std::string& path) {
        const bool isStamp = path.find("time stamp") != std::string::npos;
        editor_.writeMessage(kind + (isStamp ? " the time stamp" : " the message"), path,
                             encodeDer(message_));
    }

    SignatureEditor& editor_;
    DerNode message_;
};

std::vector<Bytes> directoriesOf(const SignatureEditor& editor) {
    std::vector<Bytes> directories;
    for (const auto& [slot, blob] : editor.place().blobs) {
        if (blobName(slot) == "code directory") {
            directories.push_back(blob);
        }
    }
    return directories;
}

DirectoryDigest altered(DirectoryDigest digest) {
    digest.digest.front() ^= std::byte{1};
    return digest;
}

// The message with another time stamp.
Bytes withStamp(const Bytes& message, const Bytes& token) {
    constexpr std::size_t signers = 4;
    DerNode root = parseDer(message);
    DerNode& signer = root.children[1].children[0].children[signers].children[0];
    DerNode& attribute = signer.children.back().children[0];
    attribute.children[1].children[0] = parseDer(token);
    return encodeDer(root);
}

Bytes signatureValue(const Bytes& message) {
    constexpr std::size_t signers = 4;
    constexpr std::size_t signature = 5;
    return parseDer(message)
        .children[1]
        .children[0]
        .children[signers]
        .children[0]
        .children[signature]
        .content;
}

struct OtherMessage {
    const char* what;
    CmsOptions options;
};

std::vector<OtherMessage> otherMessages(const std::vector<Bytes>& directories, std::time_t now) {
    constexpr std::time_t day = 24 * 60 * 60;
    std::vector<DirectoryDigest> digests;
    for (const Bytes& directory : directories) {
        digests.push_back(Rehearsal::digestOf(directory));
    }
    std::vector<DirectoryDigest> wrong = digests;
    wrong.back() = altered(wrong.back());
    std::vector<DirectoryDigest> more = digests;
    more.push_back(altered(digests.front()));
    const std::vector<DirectoryDigest> fewer(digests.begin(), digests.end() - 1);
    const std::vector<DirectoryDigest> reversed(digests.rbegin(), digests.rend());
    return {
        {.what = "everything in place", .options = {}},
        {.what = "no content type", .options = {.contentType = false}},
        {.what = "no signing time", .options = {.signingTimeAttribute = false}},
        {.what = "no message digest", .options = {.messageDigestAttribute = false}},
        {.what = "another message digest", .options = {.messageDigest = wrong.back().digest}},
        {.what = "no list of full hashes", .options = {.hashList = false}},
        {.what = "no list of hashes", .options = {.hashPropertyList = false}},
        {.what = "neither list of hashes", .options = {.hashList = false, .hashPropertyList = false}},
        {.what = "a wrong full hash", .options = {.hashListEntries = wrong}},
        {.what = "a full hash too many", .options = {.hashListEntries = more}},
        {.what = "a full hash missing", .options = {.hashListEntries = fewer}},
        {.what = "the full hashes reversed", .options = {.hashListEntries = reversed}},
        {.what = "a wrong hash", .options = {.propertyListHashes = wrong}},
        {.what = "a hash too many", .options = {.propertyListHashes = more}},
        {.what = "a hash missing", .options = {.propertyListHashes = fewer}},
        {.what = "no authority", .options = {.embedAuthority = false}},
        {.what = "no root", .options = {.embedRoot = false}},
        {.what = "no time stamp", .options = {.timeStamp = false}},
        {.what = "a time stamp over something else",
         .options = {.timeStampedValue = toBytes("something else")}},
        {.what = "a time stamp before its authority's time", .options = {.timeStampTime = now - 30 * day}},
        {.what = "a time stamp of the future", .options = {.timeStampTime = now + 30 * day}},
    };
}

} // namespace

void damageMessages(DamageCampaign& campaign, const std::string& executable) {
    for (SignatureEditor& editor : editorsFor(campaign, executable)) {
        if (const Bytes message = editor.message(); !message.empty()) {
            MessageDamages(editor, parseDer(message)).run();
        }
    }
    campaign.expectSound();
}

void signDifferently(DamageCampaign& campaign, const std::string& executable,
                     const Rehearsal::SigningIdentity& identity, const Rehearsal::SigningIdentity& stranger) {
    const std::time_t now = campaign.subject().now;
    constexpr auto sha256 = Rehearsal::SignatureHash::sha256;
    for (SignatureEditor& editor : editorsFor(campaign, executable)) {
        const std::vector<Bytes> directories = directoriesOf(editor);
        const std::string kind = "a message signed with";
        for (const OtherMessage& other : otherMessages(directories, now)) {
            editor.writeMessage(kind, other.what, Rehearsal::signCms(identity, directories, other.options));
        }
        const Bytes own = editor.message();
        editor.writeMessage(
            kind, "a time stamp of a stranger",
            withStamp(own, Rehearsal::makeTimeStamp(stranger, signatureValue(own), now, sha256)));
        editor.writeMessage(
            kind, "a fresh time stamp",
            withStamp(own, Rehearsal::makeTimeStamp(identity, signatureValue(own), now, sha256)));
        const std::vector<Bytes> reversed(directories.rbegin(), directories.rend());
        editor.writeMessage(kind, "another directory first", Rehearsal::signCms(identity, reversed));
        editor.writeMessage(kind, "the key of a stranger", Rehearsal::signCms(stranger, directories));
        const std::vector<Bytes> first = {directories.front()};
        editor.writeMessage(kind, "the first directory alone", Rehearsal::signCms(identity, first));
    }
    campaign.expectSound();
}

} // namespace InstallerCore::Testing
