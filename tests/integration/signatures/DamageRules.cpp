#include "tests/integration/signatures/DamageRules.h"

#include "tests/integration/signatures/AttributeDamages.h"

namespace InstallerCore::Testing {

namespace {

constexpr auto accepted = DamageRule::Verdict::accepted;
constexpr auto refused = DamageRule::Verdict::refused;
constexpr auto either = DamageRule::Verdict::either;

} // namespace

const DamageRules& bitRules() {
    static const DamageRules rules = {
        {"a bit flipped in the signature's index", "length", "*", either,
         "how much behind the last blob is counted"},
        {"a bit flipped in the padding behind a signature", "", "*", accepted,
         "tools that write a shorter signature leave the rest of a longer one"},
    };
    return rules;
}

const DamageRules& universalBitRules() {
    static const DamageRules rules = {
        {"a bit flipped in the list of architectures", "capabilities", "*", accepted,
         "what a processor has to be able to is not which one it is; the image says it again"},
        {"a bit flipped in the list of architectures", "alignment", "*", accepted,
         "an architecture lies where its offset says"},
    };
    return rules;
}

const DamageRules& messageBitRules() {
    static const DamageRules rules = {
        {"a bit flipped in the *", "*: signed data: digest algorithms: algorithm", "*", either,
         "a hint; the signer names the algorithm again"},
        {"a bit flipped in the *", "*: signers: signer: identifier", "*", either,
         "names of issuers compare without regard to case"},
        {"a bit flipped in the *", "*: signed data: version", "*", either, "there is one way to read it"},
        {"a bit flipped in the *", "*: signers: signer: version", "*", either, "there is one way to read it"},
        {"the bit for constructed values flipped in the *", "*: tag", "*", either,
         "a set is read alike without it, and signed as if it had it"},
    };
    return rules;
}

const DamageRules& sha1TimeStampBitRules() {
    static const DamageRules rules = {
        {"a bit flipped in the time stamp", "*: signers: signer: signature algorithm", "*", either,
         "RSA is named alone or together with the signer's digest, and with SHA-1 the names are a bit apart"},
    };
    return rules;
}

const DamageRules& nullParameterRules() {
    static const DamageRules rules = {
        {"a value removed from the *", "*: signers: signer: digest algorithm", "*", either,
         "parameters that are null may be left out (RFC 5754, 2)"},
        {"a value removed from the time stamp", "*: signed data: digest algorithms: algorithm", "*", either,
         "likewise"},
    };
    return rules;
}

const DamageRules& validCertificateBitRules() {
    static const DamageRules rules = {
        {"a bit flipped in the message", "*: unsigned attributes: unsigned attribute: type", "*", either,
         "it is no time stamp then, and the certificate counts now"},
    };
    return rules;
}

const DamageRules& blobRules() {
    static const DamageRules rules = {
        {"an index in another order", "", "*", accepted, "a blob is found by its slot"},
        {"blobs in another order", "", "*", accepted, "a blob is found by its slot"},
        {"zeros between the blobs", "", "*", accepted, "linkers align blobs"},
        {"something between the blobs", "", "*", accepted,
         "makers leave what they wrote before; nothing reads it"},
        {"a blob added in an unknown slot", "", "*", accepted, "what is not sealed is not looked at"},
    };
    return rules;
}

const DamageRules& messageRules() {
    static const DamageRules rules = {
        {"a value removed from the message", "*: signed data: digest algorithms*", "*", either,
         "a hint; the signer names the algorithm again"},
        {"a value doubled in the *", "*: signed data: digest algorithms: algorithm", "*", either,
         "a hint; the signer names the algorithm again"},
        {"a value doubled in the *", "*: signed data: certificates: certificate", "*", accepted,
         "the same certificate twice is no other"},
        {"a value exchanged with the next in the *", "*: signed data: certificates: certificate", "*",
         accepted, "a set has no order"},
        {"a value removed from the time stamp",
         "*: time stamp: content: signed data: certificates: certificate", "*", either,
         "the root, which the message brings as well"},
        {"a value removed from the *", "*: signers: signer: signature algorithm", "*", either,
         "parameters that are null may be left out"},
    };
    return rules;
}

const DamageRules& validCertificateRules() {
    static const DamageRules rules = {
        {"a value removed from the message", "*: signers: signer: unsigned attributes*", "*", either,
         "without a time stamp the certificate counts now"},
        {"a value removed from the message", "*: signed data: certificates: certificate", "*", either,
         "the root, which the verifier has at hand"},
        {"a message signed with", "everything in place", "*", accepted, "no damage"},
        {"a message signed with", "a fresh time stamp", "*", accepted, "no damage"},
        {"a message signed with", "no time stamp", "*", accepted,
         "without a time stamp the certificate counts now"},
        {"a message signed with", "no signing time", "*", accepted, "the signer's word is not asked for"},
        {"a message signed with", "no list of full hashes", "*", accepted, "the other list names them all"},
        {"a message signed with", "the full hashes reversed", "*", accepted, "the list has no order"},
        {"a message signed with", "no root", "*", accepted, "the verifier has it at hand"},
    };
    return rules;
}

const DamageRules& oneDirectoryRules() {
    static const DamageRules rules = {
        {"a message signed with", "no list of hashes", "*", accepted,
         "the signature is over the one directory"},
        {"a message signed with", "neither list of hashes", "*", accepted,
         "the signature is over the one directory"},
        {"a message signed with", "another directory first", "*", accepted, "there is no other"},
        {"a message signed with", "the first directory alone", "*", accepted, "there is no other"},
    };
    return rules;
}

const DamageRules& sameHelperRules() {
    constexpr const char* helper = "*/Helpers/KavioHelper";
    constexpr const char* reason = "the same signer's, over the very same code directories";
    static const DamageRules rules = {
        {"a signature of another version", "", helper, accepted, reason},
        {"a signature of another application", "", helper, accepted, reason},
        {"a blob of another version", "message", helper, accepted, reason},
        {"a blob of another application", "message", helper, accepted, reason},
    };
    return rules;
}

const DamageRules& adHocRules() {
    static const DamageRules rules = {
        {"a bit flipped in the signature's index", "* of the message", "*", either,
         "the message of nobody is empty, and not looked at"},
        {"a bit flipped in a blob", "message: header", "*", either,
         "the message of nobody is empty, and not looked at"},
        {"a blob* in *", "message", "*", accepted, "the message of nobody is empty, and not looked at"},
        {"a blob*", "message", "*", either, "the message of nobody is empty, and not looked at"},
        {"two blobs exchanged", "* and message", "*", refused, ""},
        {"a bit flipped in a code directory", "*", "Versions/B/Sparkle", either,
         "nobody signed the outermost directories; only what they seal is held against them"},
    };
    return rules;
}

const DamageRules& entryRules() {
    static const DamageRules rules = {
        {"*file altered", "padding behind a signature", "*", accepted,
         "tools that write a shorter signature leave the rest of a longer one"},
        {"other permissions", "", "*", accepted, "no part of a signature"},
        {"another date", "", "*", accepted, "no part of a signature"},
        {"a file replaced by its like", "", "*/Helpers/KavioScript", refused,
         "its signature is in its attributes, which the other lacks"},
        {"a file replaced by its like", "", "*", accepted, "no damage"},
        {"a file replaced by a hard link to itself", "", "*", accepted, "no damage"},
        {"the Finder's file added", "", "*_CodeSignature/*", refused, "only the signature is there"},
        {"the Finder's file added", "", "*", accepted, "the Finder may leave it anywhere"},
        {"a version of a language added", "", "*.lproj/locversion.plist", accepted, "rules leave it out"},
        {"an empty directory added", "", "*_CodeSignature/*", refused, "only the signature is there"},
        {"an empty directory added", "", "added directory", refused, "there is an order at the top"},
        {"an empty directory added", "", "*.framework/added directory", refused, "likewise"},
        {"an empty directory added", "", "*.app/added directory", refused, "likewise"},
        {"an empty directory added", "", "*.xpc/added directory", refused, "likewise"},
        {"an empty directory added", "", "*Versions/added directory", refused, "it is a version, unsigned"},
        {"an empty directory added", "", "*", accepted, "directories are not sealed"},
        {"an empty directory with a dot added", "", "*/Resources/*", accepted,
         "directories are not sealed, and code is not there"},
    };
    return rules;
}

DamageRules attributeRules(const std::filesystem::path& bundle) {
    if (!keepsAttributes(bundle, 1)) {
        return {};
    }
    return {{"an extended attribute added", "", "*", accepted, "no part of a signature"}};
}

const DamageRules& applicationRules() {
    static const DamageRules rules = {
        {"an entry renamed*", "", "*Contents/PkgInfo", refused, "what is not sealed has that name alone"},
        {"an entry replaced by a link to itself beside it", "", "*Contents/PkgInfo", refused,
         "what is not sealed has that name alone"},
        {"an entry replaced by a FIFO", "", "*Contents/PkgInfo", refused, "no bundle has one"},
        {"a file replaced by a directory with it", "", "*Contents/PkgInfo", refused,
         "only a file may be there"},
        {"*", "", "*Contents/PkgInfo", accepted, "rules leave it out"},
    };
    return rules;
}

const DamageRules& sampleEntryRules() {
    static const DamageRules rules = {
        {"an entry renamed*", "", "Contents/CodeResources", refused, "only a ticket is not sealed"},
        {"an entry replaced by a link to itself beside it", "", "Contents/CodeResources", refused,
         "only a ticket is not sealed"},
        {"*", "", "Contents/CodeResources", accepted, "the ticket is made of the signature, so never sealed"},
        {"an entry removed", "", "Contents/Resources/*.lproj*", accepted, "languages may be taken out"},
        {"a directory replaced by an empty one", "", "*.lproj", accepted, "languages may be taken out"},
        {"a link replaced by its like", "", "*", accepted, "no damage"},
        {"an entry removed", "", "*.framework/[KR]*", accepted,
         "the links at the top of a framework are not sealed"},
        {"an empty directory with a dot added", "", "Contents/Linux/*", accepted,
         "directories are not sealed, and code is not there"},
        {"a file of another version", "", "*/Helpers/KavioHelper", accepted,
         "a seal names the helper and its team, not its version"},
        {"a file of another application", "", "*/Helpers/KavioHelper", accepted,
         "a seal names the helper and its team, not its application"},
    };
    return rules;
}

const DamageRules& frameworkRules() {
    static const DamageRules rules = {
        {"a link replaced by its like", "", "*", accepted, "no damage"},
        {"an entry removed", "", "*/Base.lproj*", refused, "the language that all others build on"},
        {"a directory replaced by an empty one", "", "*/Base.lproj*", refused, "likewise"},
        {"an entry removed", "", "*/Resources/*.lproj*", accepted, "languages may be taken out"},
        {"a directory replaced by an empty one", "", "*.lproj", accepted, "languages may be taken out"},
        {"an entry removed", "", "Versions", refused, "the framework itself"},
        {"an entry removed", "", "*/*", refused, "below the top all is sealed"},
        {"an entry removed", "", "*", accepted, "the links at the top of a framework are not sealed"},
        {"an empty directory with a dot added", "", "*/Headers/*", accepted, "as among resources"},
        {"an empty directory with a dot added", "", "*/Modules/*", accepted, "as among resources"},
        {"an empty directory with a dot added", "", "*/PrivateHeaders/*", accepted, "as among resources"},
    };
    return rules;
}

DamageRules join(std::initializer_list<DamageRules> parts) {
    DamageRules all;
    for (const DamageRules& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

} // namespace InstallerCore::Testing
