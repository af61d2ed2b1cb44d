#include "InstallerCore/support/UnicodeText.h"

#include <utf8.h>

namespace InstallerCore {

namespace {

bool isNewline(char32_t point) {
    return (point >= 0x0A && point <= 0x0D) || point == 0x85 || point == 0x2028 || point == 0x2029;
}

bool isBlank(char32_t point) {
    return point == 0x09 || point == 0x20 || point == 0xA0 || point == 0x1680 ||
           (point >= 0x2000 && point <= 0x200A) || point == 0x202F || point == 0x205F || point == 0x3000;
}

bool isTrimmed(char32_t point) {
    return isBlank(point) || isNewline(point);
}

std::string_view between(const char* begin, const char* end) {
    return {begin, static_cast<std::size_t>(end - begin)};
}

} // namespace

bool isUtf8(std::string_view text) {
    return utf8::is_valid(text.begin(), text.end());
}

std::string withoutByteOrderMarks(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    std::string result;
    result.reserve(text.size());
    while (true) {
        const std::size_t found = text.find(mark);
        result += text.substr(0, found);
        if (found == std::string_view::npos) {
            return result;
        }
        text.remove_prefix(found + mark.size());
    }
}

std::vector<std::string_view> lines(std::string_view text) {
    std::vector<std::string_view> result;
    const char* const end = text.data() + text.size();
    const char* lineStart = text.data();
    for (const char* position = lineStart; position != end;) {
        const char* const pointStart = position;
        if (isNewline(utf8::unchecked::next(position))) {
            result.push_back(between(lineStart, pointStart));
            lineStart = position;
        }
    }
    result.push_back(between(lineStart, end));
    return result;
}

std::string_view trimmed(std::string_view text) {
    const char* begin = text.data();
    const char* end = text.data() + text.size();
    while (begin != end) {
        const char* next = begin;
        if (!isTrimmed(utf8::unchecked::next(next))) {
            break;
        }
        begin = next;
    }
    while (begin != end) {
        const char* previous = end;
        if (!isTrimmed(utf8::unchecked::prior(previous))) {
            break;
        }
        end = previous;
    }
    return between(begin, end);
}

} // namespace InstallerCore
