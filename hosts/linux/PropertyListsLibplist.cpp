#include "hosts/linux/PropertyListsLibplist.h"

#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/UnicodeText.h"
#include "hosts/shared/PropertyListDocument.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace InstallerCore {

namespace {

using Node = std::unique_ptr<void, void (*)(plist_t)>;

[[noreturn]] void throwCorrupt() {
    throw PlatformError(PropertyListErrorCode::corrupt);
}

std::string checkedText(const char* text, std::size_t length) {
    std::string result(text, length);
    if (!isUtf8(result)) {
        throwCorrupt();
    }
    return result;
}

PropertyValue convert(plist_t node);

PropertyValue text(plist_t node) {
    std::uint64_t length = 0;
    const char* const characters = plist_get_string_ptr(node, &length);
    if (characters == nullptr) {
        return {std::string()};
    }
    return {checkedText(characters, static_cast<std::size_t>(length))};
}

PropertyValue data(plist_t node) {
    std::uint64_t length = 0;
    const char* const bytes = plist_get_data_ptr(node, &length);
    return {toBytes(std::string_view(bytes, bytes == nullptr ? 0 : static_cast<std::size_t>(length)))};
}

// The library gives 64 bits and knows, but does not tell, whether they are signed; its XML does.
bool isNegative(plist_t node) {
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &xml, &length);
    const std::unique_ptr<char, void (*)(void*)> owner(xml, ::free);
    return std::string_view(xml, length).find("<integer>-") != std::string_view::npos;
}

PropertyValue integer(plist_t node) {
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    const bool fits = value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()} || isNegative(node);
    return fits ? PropertyValue{static_cast<std::int64_t>(value)} : PropertyValue{PropertyOther()};
}

PropertyValue real(plist_t node) {
    double value = 0;
    plist_get_real_val(node, &value);
    return {value};
}

PropertyValue boolean(plist_t node) {
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return {value != 0};
}

PropertyValue array(plist_t node) {
    PropertyArray result;
    const std::uint32_t size = plist_array_get_size(node);
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const std::unique_ptr<void, void (*)(void*)> owner(iterator, ::free);
    for (std::uint32_t index = 0; index < size; ++index) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator, &item);
        result.push_back(convert(item));
    }
    return {std::move(result)};
}

PropertyValue dictionary(plist_t node) {
    PropertyDictionary result;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, void (*)(void*)> owner(iterator, ::free);
    while (true) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        const std::unique_ptr<char, void (*)(void*)> keyOwner(key, ::free);
        if (item == nullptr || key == nullptr) {
            return {std::move(result)};
        }
        result.insert_or_assign(checkedText(key, std::string_view(key).size()), convert(item));
    }
}

PropertyValue convert(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
        return boolean(node);
    case PLIST_UINT:
        return integer(node);
    case PLIST_REAL:
        return real(node);
    case PLIST_STRING:
        return text(node);
    case PLIST_ARRAY:
        return array(node);
    case PLIST_DICT:
        return dictionary(node);
    case PLIST_DATA:
        return data(node);
    case PLIST_DATE:
    case PLIST_KEY:
    case PLIST_UID:
    case PLIST_NONE:
        return {PropertyOther()};
    }
    return {PropertyOther()};
}

} // namespace

PropertyValue PropertyListsLibplist::parse(ByteView document) const {
    const auto kind = propertyListKind(document);
    if (!kind) {
        throwCorrupt();
    }
    const std::string_view text = asText(document);
    const auto size = static_cast<std::uint32_t>(text.size());
    plist_t parsed = nullptr;
    if (kind == PropertyListKind::binary) { // not what the library guesses
        plist_from_bin(text.data(), size, &parsed);
    } else {
        plist_from_xml(text.data(), size, &parsed);
    }
    const Node node(parsed, plist_free);
    if (node == nullptr) {
        throwCorrupt();
    }
    return convert(node.get());
}

} // namespace InstallerCore
