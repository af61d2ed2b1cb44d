#include "hosts/shared/PropertyListShape.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace InstallerCore {

namespace {

constexpr std::string_view binaryMagic = "bplist";

// A value weighs one, and one more for each of these bytes of text or data in it: a document can name a long
// text many times.
constexpr std::size_t bytesPerValue = 64;

// Follows the elements of an XML document. Whatever another reader might take for something else (a closing
// element in an attribute, a comment that may end early) does not keep the limits: nobody writes it.
class XmlShape {
public:
    XmlShape(std::string_view text, const PropertyListLimits& limits) : text_(text), limits_(limits) {}

    [[nodiscard]] bool keepsLimits() {
        while (skipPast("<")) {
            if (!readMarkup()) {
                return false;
            }
        }
        return true;
    }

private:
    // False when there is no such end.
    [[nodiscard]] bool skipPast(std::string_view end) {
        const auto found = text_.find(end);
        text_.remove_prefix(found == std::string_view::npos ? 0 : found + end.size());
        return found != std::string_view::npos;
    }

    [[nodiscard]] bool readMarkup() {
        if (text_.starts_with("!--")) {
            return !text_.starts_with("!-->") && !text_.starts_with("!--->") && skipPast("-->");
        }
        if (text_.starts_with("![CDATA[")) {
            return inText_ && skipPast("]]>");
        }
        if (text_.starts_with("?")) {
            return !text_.starts_with("?>") && skipPast("?>");
        }
        const std::string_view tag = text_.substr(0, text_.find('>'));
        if (tag.starts_with("!")) { // the document's type
            return values_ == 0 && tag.find('[') == std::string_view::npos && skipPast(">");
        }
        return readTag(tag) && skipPast(">");
    }

    [[nodiscard]] bool readTag(std::string_view tag) {
        const bool closes = tag.starts_with("/");
        tag.remove_prefix(closes ? 1 : 0);
        const std::string_view name = tag.substr(0, tag.find_first_not_of("abcdefghijklmnopqrstuvwxyz"));
        const std::string_view rest = tag.substr(name.size());
        inText_ = false;
        if (name == "plist") {
            return (closes || values_ == 0) && rest.find('<') == std::string_view::npos;
        }
        const bool empty = rest.ends_with("/");
        const std::string_view blanks = rest.substr(0, rest.size() - (empty ? 1 : 0));
        if (blanks.find_first_not_of(" \t\r\n") != std::string_view::npos) {
            return false;
        }
        const bool isContainer = name == "array" || name == "dict";
        if (closes) {
            return isContainer ? close(name) : isScalar(name);
        }
        if (!isContainer) {
            inText_ = !empty;
            return ++values_ <= limits_.values && isScalar(name);
        }
        if (!empty) {
            open_.push_back(name);
        }
        return ++values_ <= limits_.values && open_.size() <= limits_.depth;
    }

    [[nodiscard]] bool close(std::string_view name) {
        if (open_.empty() || open_.back() != name) {
            return false;
        }
        open_.pop_back();
        return true;
    }

    [[nodiscard]] static bool isScalar(std::string_view name) {
        constexpr std::array<std::string_view, 8> names{"key",  "string", "integer", "real",
                                                        "true", "false",  "data",    "date"};
        return std::find(names.begin(), names.end(), name) != names.end();
    }

    std::string_view text_; // that is still to be read
    PropertyListLimits limits_;
    std::vector<std::string_view> open_; // the names of the containers around the place
    std::size_t values_ = 0;
    bool inText_ = false;
};

class BinaryShape {
public:
    BinaryShape(ByteView document, const PropertyListLimits& limits) : document_(document), limits_(limits) {}

    [[nodiscard]] bool keepsLimits() {
        if (!readTrailer()) {
            return false;
        }
        objects_.resize(count_);
        path_.push_back({.object = top_});
        while (!path_.empty()) {
            if (!step()) {
                return false;
            }
        }
        return true;
    }

private:
    struct Object {
        enum class State { unseen, entered, done };
        State state = State::unseen;
        std::size_t values = 0; // that it stands for, once it is done
        std::size_t depth = 0;
    };

    // An object on the way from the top to where the walk is.
    struct Place {
        std::size_t object;
        std::size_t next = 0; // the reference to follow next
        std::size_t references = 0;
        std::size_t firstReference = 0; // where they lie in the document
    };

    // Unsigned, big-endian, of a width that every reader understands.
    [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t offset, std::size_t width) const {
        const bool isUsual = width == 3 || (std::has_single_bit(width) && width <= sizeof(std::uint64_t));
        if (!isUsual || offset > document_.size() || width > document_.size() - offset) {
            return std::nullopt;
        }
        constexpr int bitsInByte = 8;
        std::uint64_t value = 0;
        for (const std::byte digit : document_.subspan(static_cast<std::size_t>(offset), width)) {
            value = (value << bitsInByte) | std::to_integer<std::uint64_t>(digit);
        }
        return value;
    }

    [[nodiscard]] bool readTrailer() {
        constexpr std::size_t trailerSize = 32;
        constexpr std::size_t widthsAt = 6;
        constexpr std::size_t countAt = 8;
        if (document_.size() < trailerSize + binaryMagic.size()) {
            return false;
        }
        const std::size_t trailer = document_.size() - trailerSize;
        offsetWidth_ = std::to_integer<std::size_t>(document_[trailer + widthsAt]);
        referenceWidth_ = std::to_integer<std::size_t>(document_[trailer + widthsAt + 1]);
        const auto count = number(trailer + countAt, sizeof(std::uint64_t));
        const auto top = number(trailer + countAt + sizeof(std::uint64_t), sizeof(std::uint64_t));
        const auto table = number(trailer + countAt + 2 * sizeof(std::uint64_t), sizeof(std::uint64_t));
        if (!count || !top || !table || *count > limits_.values || *top >= *count ||
            *table > document_.size()) {
            return false;
        }
        count_ = static_cast<std::size_t>(*count);
        top_ = static_cast<std::size_t>(*top);
        table_ = *table;
        return true;
    }

    // Goes one reference further, or leaves an object whose references are all followed.
    [[nodiscard]] bool step() {
        Place& place = path_.back();
        Object& object = objects_[place.object];
        if (object.state == Object::State::unseen) {
            if (path_.size() > limits_.depth + 1 || !enter(place, object)) {
                return false;
            }
        }
        if (place.next == place.references) {
            object.state = Object::State::done;
            path_.pop_back();
            return true;
        }
        const auto child = number(place.firstReference + place.next * referenceWidth_, referenceWidth_);
        if (!child || *child >= count_) {
            return false;
        }
        return follow(place, object, static_cast<std::size_t>(*child));
    }

    [[nodiscard]] bool follow(Place& place, Object& parent, std::size_t childNumber) {
        const Object& child = objects_[childNumber];
        switch (child.state) {
        case Object::State::unseen:
            path_.push_back({.object = childNumber});
            return true;
        case Object::State::entered: // a circle
            return false;
        case Object::State::done:
            ++place.next;
            parent.values += child.values;
            parent.depth = std::max(parent.depth, child.depth + 1);
            return parent.values <= limits_.values && parent.depth <= limits_.depth + 1;
        }
        return false;
    }

    // What a marker says: its kind, and how many references, characters or bytes follow where.
    struct Marker {
        std::uint64_t kind = 0;
        std::size_t count = 0;
        std::size_t content = 0;
    };

    [[nodiscard]] std::optional<Marker> readMarker(std::size_t object) const {
        constexpr std::uint64_t lowNibble = 0xF;
        constexpr int nibble = 4;
        constexpr std::uint64_t integerMarker = 0x1;
        constexpr std::uint64_t widestInteger = 3; // two to its power in bytes
        const auto offset = number(table_ + object * offsetWidth_, offsetWidth_);
        const auto marker = offset ? number(*offset, 1) : std::nullopt;
        if (!marker) {
            return std::nullopt;
        }
        std::uint64_t count = *marker & lowNibble;
        std::uint64_t content = *offset + 1;
        if (count == lowNibble && *marker >> nibble >= dataKind) { // an integer object with the count follows
            const auto size = number(content, 1);
            if (!size || *size >> nibble != integerMarker || (*size & lowNibble) > widestInteger) {
                return std::nullopt;
            }
            const std::size_t width = std::size_t{1} << (*size & lowNibble);
            const auto longCount = number(content + 1, width);
            if (!longCount || *longCount > document_.size()) {
                return std::nullopt;
            }
            count = *longCount;
            content += 1 + width;
        }
        return Marker{.kind = *marker >> nibble,
                      .count = static_cast<std::size_t>(count),
                      .content = static_cast<std::size_t>(content)};
    }

    // Finds what the object refers to, and what it weighs by itself.
    [[nodiscard]] bool enter(Place& place, Object& object) const {
        const auto marker = readMarker(place.object);
        if (!marker) {
            return false;
        }
        object = {.state = Object::State::entered, .values = 1, .depth = 1};
        switch (marker->kind) {
        case dataKind:
            object.values += marker->count / bytesPerValue;
            return object.values <= limits_.values;
        case asciiKind:
        case utf16Kind: {
            const std::size_t width = marker->kind == utf16Kind ? 2 : 1;
            object.values += width * marker->count / bytesPerValue;
            return object.values <= limits_.values && !holdsNul(*marker, width);
        }
        case arrayKind:
        case setKind:
        case dictionaryKind:
            place.references = marker->kind == dictionaryKind ? 2 * marker->count : marker->count;
            place.firstReference = marker->content;
            return true;
        default:
            return true;
        }
    }

    // A reader that ends texts by NUL would see another text.
    [[nodiscard]] bool holdsNul(const Marker& marker, std::size_t width) const {
        for (std::size_t index = 0; index < marker.count; ++index) {
            if (number(marker.content + index * width, width).value_or(0) == 0) {
                return true;
            }
        }
        return false;
    }

    static constexpr std::uint64_t dataKind = 0x4;
    static constexpr std::uint64_t asciiKind = 0x5;
    static constexpr std::uint64_t utf16Kind = 0x6;
    static constexpr std::uint64_t arrayKind = 0xA;
    static constexpr std::uint64_t setKind = 0xC;
    static constexpr std::uint64_t dictionaryKind = 0xD;

    ByteView document_;
    PropertyListLimits limits_;
    std::size_t offsetWidth_ = 0;
    std::size_t referenceWidth_ = 0;
    std::size_t count_ = 0;
    std::size_t top_ = 0;
    std::uint64_t table_ = 0;
    std::vector<Object> objects_;
    std::vector<Place> path_;
};

} // namespace

bool keepsLimits(ByteView document, const PropertyListLimits& limits) {
    const std::string_view text = asText(document);
    return text.starts_with(binaryMagic) ? BinaryShape(document, limits).keepsLimits()
                                         : XmlShape(text, limits).keepsLimits();
}

} // namespace InstallerCore
