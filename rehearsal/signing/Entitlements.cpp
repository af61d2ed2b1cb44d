#include "rehearsal/signing/Entitlements.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/Der.h"

#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

Bytes encode(const PropertyValue& value);

struct Encoder {
    template <typename T>
    Bytes operator()(const T& /*value*/) const {
        throw std::runtime_error("entitlements do not have values of this kind");
    }

    Bytes operator()(bool value) const {
        return Der::value(Der::boolean, Bytes{value ? std::byte{0xff} : std::byte{0}});
    }

    Bytes operator()(std::int64_t value) const {
        Bytes bytes;
        append(bytes, static_cast<std::uint64_t>(value), ByteOrder::big);
        // As few bytes as keep the sign.
        const auto sign = [](std::byte byte) { return (byte & std::byte{0x80}) != std::byte{0}; };
        while (bytes.size() > 1 && (bytes[0] == std::byte{0} || bytes[0] == std::byte{0xff}) &&
               sign(bytes[0]) == sign(bytes[1])) {
            bytes.erase(bytes.begin());
        }
        return Der::value(Der::integer, bytes);
    }

    Bytes operator()(const std::string& value) const { return Der::value(Der::utf8Text, asBytes(value)); }

    Bytes operator()(const PropertyArray& values) const {
        Bytes content;
        for (const PropertyValue& value : values) {
            append(content, encode(value));
        }
        return Der::value(Der::sequence, content);
    }

    Bytes operator()(const PropertyDictionary& values) const {
        Bytes content;
        for (const auto& [key, value] : values) {
            append(content, Der::value(Der::sequence, join({(*this)(key), encode(value)})));
        }
        return Der::value(Der::dictionary, content);
    }
};

Bytes encode(const PropertyValue& value) {
    return std::visit(Encoder(), value.value);
}

} // namespace

Bytes derEntitlements(const std::string& propertyList) {
    const PropertyValue list = PropertyListsLibplist().parse(asBytes(propertyList));
    if (list.dictionary() == nullptr) {
        throw std::runtime_error("entitlements are a dictionary");
    }
    return Der::value(Der::entitlements, join({encode({std::int64_t{1}}), encode(list)}));
}

} // namespace InstallerCore::Rehearsal
