#include "rehearsal/signing/CodeDirectory.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/ByteOrder.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

constexpr std::size_t blobHeaderSize = 8;
constexpr std::uint32_t hasTeam = 0x20200;

// The size of the fixed part, since each version that made it longer.
constexpr std::array<std::pair<std::uint32_t, std::size_t>, 6> fixedSizes{
    {{0x20500, 96}, {0x20400, 88}, {0x20300, 64}, {hasTeam, 52}, {0x20100, 48}, {0, 44}}};

std::size_t fixedSize(std::uint32_t version) {
    return std::find_if(fixedSizes.begin(), fixedSizes.end(),
                        [&](const auto& entry) { return version >= entry.first; })
        ->second;
}

void put(Bytes& bytes, std::uint64_t value) {
    append(bytes, static_cast<std::uint32_t>(value), ByteOrder::big);
}

void appendHash(Bytes& bytes, SignatureHash type, ByteView content) {
    append(bytes, ByteView(digest(type, content)).first(storedSize(type)));
}

void appendSpecialHashes(Bytes& bytes, const DirectoryFields& fields, unsigned count) {
    for (unsigned slot = count; slot > 0; --slot) {
        const auto content = fields.specialSlots.find(slot);
        if (content == fields.specialSlots.end()) {
            bytes.resize(bytes.size() + storedSize(fields.hash)); // zeros: nothing there
        } else {
            appendHash(bytes, fields.hash, content->second);
        }
    }
}

void appendPageHashes(Bytes& bytes, const CodeSubject& subject, SignatureHash hash) {
    const std::size_t size =
        subject.pageSizeBits == 0 ? subject.content.size() : std::size_t{1} << subject.pageSizeBits;
    for (ByteView rest = subject.content; !rest.empty();) {
        const ByteView page = rest.first(std::min(size, rest.size()));
        appendHash(bytes, hash, page);
        rest = rest.subspan(page.size());
    }
}

} // namespace

std::size_t pageCount(std::size_t size, unsigned pageSizeBits) {
    if (size == 0) {
        return 0;
    }
    return pageSizeBits == 0 ? 1 : ((size - 1) >> pageSizeBits) + 1;
}

std::string identifierOf(ByteView codeDirectory) {
    constexpr std::size_t identifierField = 20;
    const auto start = load<std::uint32_t>(codeDirectory, identifierField, ByteOrder::big);
    if (start > codeDirectory.size()) {
        throw std::runtime_error("a code directory is malformed");
    }
    const std::string_view text = asText(codeDirectory.subspan(start));
    return std::string(text.substr(0, text.find('\0')));
}

bool isAdHoc(ByteView codeDirectory) {
    constexpr std::size_t flagsField = 12;
    return (load<std::uint32_t>(codeDirectory, flagsField, ByteOrder::big) & DirectoryFlag::adHoc) != 0;
}

Bytes makeCodeDirectory(const CodeSubject& subject, const DirectoryFields& fields) {
    if (subject.content.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::runtime_error("code of this size is not signed");
    }
    const unsigned specialSlots = fields.specialSlots.empty() ? 0 : fields.specialSlots.rbegin()->first;
    const bool team = !fields.team.empty() && fields.version >= hasTeam;
    const std::size_t identifierOffset = fixedSize(fields.version);
    const std::size_t teamOffset = identifierOffset + fields.identifier.size() + 1;
    const std::size_t specialOffset = teamOffset + (team ? fields.team.size() + 1 : 0);

    Bytes bytes;
    put(bytes, fields.version);
    put(bytes, fields.flags);
    put(bytes, specialOffset + specialSlots * storedSize(fields.hash));
    put(bytes, identifierOffset);
    put(bytes, specialSlots);
    put(bytes, pageCount(subject.content.size(), subject.pageSizeBits));
    put(bytes, subject.content.size());
    append(bytes, static_cast<std::uint8_t>(storedSize(fields.hash)), ByteOrder::big);
    append(bytes, static_cast<std::uint8_t>(fields.hash), ByteOrder::big);
    append(bytes, std::uint8_t{0}, ByteOrder::big); // platform
    append(bytes, static_cast<std::uint8_t>(subject.pageSizeBits), ByteOrder::big);
    put(bytes, 0); // spare
    put(bytes, 0); // no scatter vector
    put(bytes, team ? teamOffset : 0);
    put(bytes, 0);                                   // spare
    append(bytes, std::uint64_t{0}, ByteOrder::big); // the limit fits into 32 bits
    append(bytes, std::uint64_t{0}, ByteOrder::big); // the executable segment begins with the file
    append(bytes, subject.executableSegment, ByteOrder::big);
    append(bytes, static_cast<std::uint64_t>(subject.mainExecutable), ByteOrder::big);
    put(bytes, subject.runtimeVersion);
    put(bytes, 0); // nothing is encrypted

    bytes.resize(identifierOffset - blobHeaderSize);
    append(bytes, asBytes(fields.identifier));
    bytes.push_back(std::byte{0});
    if (team) {
        append(bytes, asBytes(fields.team));
        bytes.push_back(std::byte{0});
    }
    appendSpecialHashes(bytes, fields, specialSlots);
    appendPageHashes(bytes, subject, fields.hash);
    return makeBlob(Magic::codeDirectory, bytes);
}

} // namespace InstallerCore::Rehearsal
