#include "hosts/linux/codesign/SliceVerification.h"

#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>

namespace InstallerCore::CodeSign {

namespace {

bool isEqual(ByteView a, ByteView b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

// What a special slot is about.
std::optional<ByteView> component(const SignedSlice& slice, std::uint32_t slot) {
    switch (slot) {
    case Slot::infoPlist:
        return slice.infoPlist;
    case Slot::resources:
        return slice.resources;
    default:
        return slice.signature->blob(slot);
    }
}

std::string describe(std::uint32_t slot) {
    switch (slot) {
    case Slot::infoPlist:
        return "the Info.plist";
    case Slot::requirements:
        return "the set of requirements";
    case Slot::resources:
        return "the list of sealed resources";
    case Slot::entitlements:
        return "the set of entitlements";
    default:
        return "the component in slot -" + std::to_string(slot);
    }
}

void checkSpecialSlots(const SignedSlice& slice) {
    const CodeDirectory& directory = slice.signature->best();
    for (std::uint32_t slot = 1; slot <= directory.specialSlotCount(); ++slot) {
        const auto sealed = directory.specialHash(slot);
        if (!sealed) {
            continue;
        }
        const auto content = component(slice, slot);
        if (!content) {
            throw SignatureError(describe(slot) + " is sealed, and missing");
        }
        if (!isEqual(hash(directory.type(), *content), *sealed)) {
            throw SignatureError(describe(slot) + " is not the sealed one");
        }
    }
    demand(!slice.resources || directory.specialHash(Slot::resources),
           "the list of sealed resources is not sealed itself");
    demand(!slice.resources || directory.specialHash(Slot::infoPlist), "the Info.plist is not sealed");
}

// Some pages of one directory, about a mebibyte.
struct PageRun {
    std::string place;
    std::shared_ptr<const MappedFile> file;
    std::shared_ptr<const CodeSignature> signature;
    const CodeDirectory& directory;
    ByteView code;
    std::uint32_t first;
    std::uint32_t end;

    void check() const {
        for (std::uint32_t page = first; page < end; ++page) {
            const std::uint64_t offset = page * directory.pageSize();
            const ByteView content =
                code.subspan(offset, std::min<std::uint64_t>(directory.pageSize(), code.size() - offset));
            if (!isEqual(hash(directory.type(), content), directory.pageHash(page))) {
                throw SignatureError("page " + std::to_string(page) + " does not have its sealed " +
                                     name(directory.type()) + " hash");
            }
        }
        file->demandUnchanged();
    }
};

void pushPages(const SignedSlice& slice, WorkQueue& queue) {
    constexpr std::uint64_t runSize = std::uint64_t{1} << 20U;
    for (const CodeDirectory& directory : slice.signature->directories()) {
        const std::uint64_t pages =
            std::max<std::uint64_t>(runSize / std::max<std::uint64_t>(directory.pageSize(), 1), 1);
        for (std::uint64_t first = 0; first < directory.pageCount(); first += pages) {
            const std::uint64_t end = std::min<std::uint64_t>(first + pages, directory.pageCount());
            queue.push([run = PageRun{.place = slice.place,
                                      .file = slice.file,
                                      .signature = slice.signature,
                                      .directory = directory,
                                      .code = slice.code,
                                      .first = static_cast<std::uint32_t>(first),
                                      .end = static_cast<std::uint32_t>(end)}] {
                at(run.place, [&run] { run.check(); });
            });
        }
    }
}

VerifiedSlice verify(const SignedSlice& slice, const Requirement* requirement, const SliceContext& context) {
    const CodeDirectory& best = slice.signature->best();
    VerifiedSlice result{.architecture = slice.architecture,
                         .subject = {.identifier = best.identifier(),
                                     .cdHash = best.cdHash(),
                                     .signer = slice.signature->signer(context.roots, context.now)},
                         .hashType = best.type(),
                         .flags = best.flags()};
    for (const CodeDirectory& directory : slice.signature->directories()) {
        demand(directory.codeLimit() == slice.code.size(),
               "the code directory covers more or less than the code");
    }
    demand(requirement == nullptr || requirement->isMetBy(result.subject), "does not meet the requirement");
    checkSpecialSlots(slice);
    return result;
}

} // namespace

VerifiedSlice verifySlice(const SignedSlice& slice, const Requirement* requirement,
                          const SliceContext& context) {
    VerifiedSlice result = at(slice.place, [&] { return verify(slice, requirement, context); });
    pushPages(slice, context.queue);
    return result;
}

} // namespace InstallerCore::CodeSign
