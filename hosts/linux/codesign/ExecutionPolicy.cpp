#include "hosts/linux/codesign/ExecutionPolicy.h"

#include "hosts/linux/codesign/BundleDirectory.h"
#include "hosts/linux/codesign/CodeDirectory.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/StaticVerification.h"
#include "hosts/linux/codesign/Ticket.h"

#include <sys/stat.h>

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

constexpr unsigned deepest = 256; // directories in one another

// Steps up may only come first, and no more of them than lead to the bundle. The directory of a link is a
// real one, so this holds wherever the other links on the way lead.
bool staysInside(const std::filesystem::path& target, unsigned depth) {
    if (target.is_absolute()) {
        return false;
    }
    bool steppedDown = false;
    for (const auto& step : target) {
        if (step == "..") {
            if (steppedDown || depth == 0) {
                return false;
            }
            --depth;
        } else if (step != "." && !step.empty()) {
            steppedDown = true;
        }
    }
    return true;
}

void checkEntries(const BundleDirectory& directory, unsigned depth) {
    if (depth > deepest) {
        throw SignatureError("lies too deep").at(directory.place());
    }
    for (const std::string& name : directory.names()) {
        const std::string place = directory.place(name);
        const auto kind = directory.kind(name);
        if (kind == EntryKind::directory) {
            checkEntries(directory.directory(name), depth + 1);
        } else if (kind == EntryKind::link) {
            const std::string target = directory.target(name);
            at(place, [&] { demand(staysInside(target, depth), "leads out of the bundle"); });
        } else {
            at(place,
               [&] { demand(kind == EntryKind::file, "is neither a file nor a directory nor a link"); });
        }
        // On a directory the bits only say whose the files will be that are made in it.
        const bool changesUser = kind == EntryKind::file && (directory.mode(name) & (S_ISUID | S_ISGID)) != 0;
        at(place, [&] { demand(!changesUser, "runs as another user or group than its caller"); });
    }
}

void checkSigner(const VerifiedSlice& slice) {
    demand(slice.subject.signer.has_value(), "nobody signed it");
    const Signer& signer = *slice.subject.signer;
    demand(signer.chain.front().hasExtension(Marker::developerIdLeaf),
           "the signer's certificate is not one for applications outside of a store");
    demand(signer.chain.size() > 1 && signer.chain[1].hasExtension(Marker::developerIdAuthority),
           "the signer's certificate is not from the authority for Developer IDs");
    demand(signer.timeStamp.has_value(), "the signature has no time stamp");
    demand((slice.flags & CodeDirectory::runtime) != 0, "it does not ask for the hardened runtime");
}

void checkTicket(const BundleDirectory& contents, const std::vector<VerifiedSlice>& slices,
                 const TrustRoots& roots, std::time_t now) {
    constexpr const char* ticketFile = "CodeResources";
    const auto content = contents.content(ticketFile);
    at(contents.place(ticketFile), [&] {
        demand(content.has_value(), "there is no stapled ticket");
        const Ticket ticket = verifyTicket(*content, roots, now);
        for (const VerifiedSlice& slice : slices) {
            const Ticket::Entry wanted{.type = slice.hashType, .cdHash = slice.subject.cdHash};
            demand(std::find(ticket.entries.begin(), ticket.entries.end(), wanted) != ticket.entries.end(),
                   "the ticket is not for this application");
        }
    });
}

} // namespace

void assessExecution(const std::filesystem::path& application, StapledTicket ticket, const TrustRoots& roots,
                     std::time_t now) {
    const auto bundle = BundleDirectory::open(application);
    demand(bundle && bundle->kind("Contents") == EntryKind::directory, "is no application");
    checkEntries(*bundle, 0);
    const auto slices = verifyStatic(application, nullptr, roots, now);
    for (const VerifiedSlice& slice : slices) {
        const auto check = [&slice] { checkSigner(slice); };
        slice.architecture.empty() ? check() : at(slice.architecture, check);
    }
    if (ticket == StapledTicket::required) {
        checkTicket(bundle->directory("Contents"), slices, roots, now);
    }
}

} // namespace InstallerCore::CodeSign
