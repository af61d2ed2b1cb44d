#include "hosts/linux/diskimage/VolumeRules.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <unordered_set>

namespace InstallerCore {

namespace {

using Kind = VolumeItem::Kind;

[[noreturn]] void refuse(std::string_view path, std::string_view reason) {
    throw DiskImageError("\"" + shown(path) + "\" " + std::string(reason));
}

// Whether the item takes a place in the tree.
bool isEntry(const VolumeItem& item) {
    return item.kind == Kind::folder || item.kind == Kind::file || item.kind == Kind::link ||
           item.kind == Kind::hardLink || item.kind == Kind::special;
}

// The root, which is there already, and the content of hard links.
bool isPlaceless(const VolumeItem& item) {
    return (item.kind == Kind::folder && item.path.empty()) || (item.kind == Kind::file && item.shared != 0);
}

void checkPath(const std::string& path) {
    constexpr std::size_t longestPath = 3'500; // in bytes; the place of the tree comes before it
    if (path.size() > longestPath) {
        refuse(path.substr(0, 100) + "...", "is too long a path");
    }
    if (path.find('\0') != std::string::npos) {
        refuse(path, "has a NUL in its name");
    }
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view component = std::string_view(path).substr(begin, end - begin);
        if (component.empty() || component == "." || component == "..") {
            refuse(path, "would lie outside the volume");
        }
        begin = end + 1;
    }
}

// The same for all names that the file system of a Mac takes for one.
std::string folded(const std::string& path) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2* const decompose = icu::Normalizer2::getNFDInstance(error);
    if (U_FAILURE(error) != 0) {
        throw DiskImageError("names cannot be compared without the data of Unicode");
    }
    icu::UnicodeString text = decompose->normalize(icu::UnicodeString::fromUTF8(path), error);
    text = decompose->normalize(text.foldCase(), error);
    std::string result;
    return text.toUTF8String(result);
}

void checkSizes(const VolumeContent& content, std::int64_t sizeOfVolume) {
    std::int64_t room = sizeOfVolume;
    for (const VolumeItem& item : content.items) {
        if (item.size > room) {
            throw DiskImageError("the volume holds more data than it has room for");
        }
        room -= item.size;
    }
}

} // namespace

std::string shown(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        const auto code = static_cast<unsigned char>(letter);
        letter = code < ' ' || code == 0x7f ? '?' : letter;
    }
    return result;
}

void checkVolume(const VolumeContent& content, std::int64_t sizeOfVolume) {
    checkSizes(content, sizeOfVolume);
    std::unordered_set<std::string> names;
    std::unordered_set<std::string> folders{""};
    for (const VolumeItem& item : content.items) {
        if (!isEntry(item) || isPlaceless(item)) {
            continue;
        }
        checkPath(item.path);
        if (item.kind == Kind::special) {
            refuse(item.path, "is neither a file nor a folder nor a link");
        }
        if (!names.insert(folded(item.path)).second) {
            refuse(item.path, "is there twice, or differs from another name only in case or composition");
        }
        if (item.kind == Kind::folder) {
            folders.insert(item.path);
        }
    }
    for (const VolumeItem& item : content.items) {
        const std::size_t slash = item.path.rfind('/');
        const bool top = slash == std::string::npos;
        if (isEntry(item) && !isPlaceless(item) && !folders.contains(top ? "" : item.path.substr(0, slash))) {
            refuse(item.path, "lies under something that is not a folder");
        }
    }
}

} // namespace InstallerCore
