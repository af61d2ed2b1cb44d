#include "fuzz/Check.h"
#include "hosts/linux/codesign/CodeSignature.h"
#include "hosts/linux/codesign/MachOFile.h"
#include "hosts/linux/codesign/SignatureError.h"

// The input is an executable file or, without an executable's first bytes, the signature in one.

namespace {

using namespace InstallerCore;
using Fuzz::check;

bool isWithin(ByteView inner, ByteView outer) {
    return inner.empty() ||
           (inner.data() >= outer.data() && inner.data() + inner.size() <= outer.data() + outer.size());
}

// Asks for everything that can be asked for.
void checkDirectory(const CodeSign::CodeDirectory& directory) {
    const std::size_t size = CodeSign::hashSize(directory.type());
    check(directory.pageCount() == 0 || directory.pageSize() > 0, "pages have a size");
    check((directory.pageCount() == 0) == (directory.codeLimit() == 0), "code has pages");
    check(std::uint64_t{directory.pageCount()} * directory.pageSize() >= directory.codeLimit(),
          "pages cover the code");
    for (std::uint32_t page = 0; page < directory.pageCount(); ++page) {
        const ByteView hash = directory.pageHash(page);
        check(hash.size() == size && isWithin(hash, directory.blob()), "a hash is part of its directory");
    }
    check(!directory.specialHash(0), "special slots are counted from 1");
    check(!directory.specialHash(directory.specialSlotCount() + 1), "no slot lies beyond the last");
    for (std::uint32_t slot = 1; slot <= directory.specialSlotCount(); ++slot) {
        const auto hash = directory.specialHash(slot);
        check(!hash || (hash->size() == size && isWithin(*hash, directory.blob())),
              "a sealed hash is part of its directory");
    }
    check(directory.cdHash().size() == CodeSign::cdHashSize, "a code directory has a hash");
}

void checkSignature(ByteView bytes) {
    const CodeSign::CodeSignature signature(bytes);
    check(signature.hashTypes().size() == signature.directories().size(), "each directory has its own hash");
    for (const CodeSign::CodeDirectory& directory : signature.directories()) {
        checkDirectory(directory);
    }
}

void checkFile(ByteView file) {
    for (const CodeSign::MachOSlice& slice : CodeSign::machOSlices(file)) {
        check(isWithin(slice.image, file), "a slice is part of its file");
        check(isWithin(slice.signature, slice.image), "a signature is part of its slice");
        check(isWithin(slice.infoPlist, slice.image), "a section is part of its slice");
        check(slice.signature.empty() || slice.image.data() + slice.signatureOffset == slice.signature.data(),
              "the code ends where the signature begins");
        if (!slice.signature.empty()) {
            checkSignature(slice.signature);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView input = std::as_bytes(std::span(data, size));
    try {
        CodeSign::isMachO(input) ? checkFile(input) : checkSignature(input);
    } catch (const CodeSign::SignatureError& error) {
        check(*error.what() != '\0', "a refusal has a reason");
    }
    return 0;
}
