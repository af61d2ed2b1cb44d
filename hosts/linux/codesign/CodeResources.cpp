#include "hosts/linux/codesign/CodeResources.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>
#include <array>

namespace InstallerCore::CodeSign {

namespace {

constexpr const char* notUnderstood = "has a seal that cannot be understood";

struct HashKey {
    const char* key;
    HashType type;
};

constexpr std::array<HashKey, 4> hashKeys = {{{.key = "hash", .type = HashType::sha1},
                                              {.key = "hash2", .type = HashType::sha256},
                                              {.key = "hash3", .type = HashType::sha256Truncated},
                                              {.key = "hash4", .type = HashType::sha384}}};

// Empty when there is no hash.
std::map<HashType, Bytes> fileHashes(const PropertyDictionary& properties) {
    std::map<HashType, Bytes> hashes;
    for (const auto& [key, type] : hashKeys) {
        if (const PropertyValue* const value = member(properties, key)) {
            demand(value->data() != nullptr && value->data()->size() == hashSize(type), notUnderstood);
            hashes.emplace(type, *value->data());
        }
    }
    return hashes;
}

// Exactly one kind of content: what is sealed as one thing cannot be there as another.
Seal readSeal(const PropertyValue& value) {
    if (const Bytes* const digest = value.data()) { // as version 1 had it
        demand(digest->size() == hashSize(HashType::sha1), notUnderstood);
        return {.content = Seal::File{.hashes = {{HashType::sha1, *digest}}}};
    }
    const PropertyDictionary* const properties = value.dictionary();
    demand(properties != nullptr, notUnderstood);
    Seal seal;
    if (const PropertyValue* const optional = member(*properties, "optional")) {
        const bool* const flag = std::get_if<bool>(&optional->value);
        demand(flag != nullptr, notUnderstood);
        seal.optional = *flag;
    }
    const PropertyValue* const link = member(*properties, "symlink");
    const PropertyValue* const requirement = member(*properties, "requirement");
    auto hashes = fileHashes(*properties);
    const std::array kinds = {link != nullptr, requirement != nullptr, !hashes.empty()};
    demand(std::count(kinds.begin(), kinds.end(), true) == 1, notUnderstood);
    if (link != nullptr) {
        demand(link->text() != nullptr, notUnderstood);
        seal.content = Seal::Link{*link->text()};
    } else if (requirement != nullptr) {
        demand(requirement->text() != nullptr, notUnderstood);
        seal.content = Seal::NestedCode{*requirement->text()};
    } else {
        seal.content = Seal::File{.hashes = std::move(hashes)};
    }
    return seal;
}

PropertyValue parse(ByteView propertyList) {
    try {
        return PropertyListsLibplist().parse(propertyList);
    } catch (const PlatformError&) {
        throw SignatureError("is no property list, or too large a one");
    }
}

const PropertyDictionary* dictionaryMember(const PropertyValue& value, std::string_view key) {
    const PropertyDictionary* const outer = value.dictionary();
    const PropertyValue* const inner = outer == nullptr ? nullptr : member(*outer, key);
    return inner == nullptr ? nullptr : inner->dictionary();
}

} // namespace

CodeResources readCodeResources(ByteView propertyList) {
    const PropertyValue list = parse(propertyList);
    const PropertyDictionary* const files = dictionaryMember(list, "files2");
    const PropertyDictionary* const rules = dictionaryMember(list, "rules2");
    demand(files != nullptr && rules != nullptr, "has no seals and rules of version 2");
    CodeResources result{.seals = {}, .rules = ResourceRules(*rules)};
    for (const auto& entry : *files) {
        result.seals.emplace(entry.first,
                             at("\"" + entry.first + "\"", [&entry] { return readSeal(entry.second); }));
    }
    return result;
}

} // namespace InstallerCore::CodeSign
