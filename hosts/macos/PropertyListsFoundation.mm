#include "hosts/macos/PropertyListsFoundation.h"

#include "InstallerCore/support/PlatformError.h"
#include "hosts/macos/FoundationValues.h"
#include "hosts/shared/PropertyListDocument.h"

#include <utility>

namespace InstallerCore {

namespace {

[[noreturn]] void throwCorrupt() {
    throw PlatformError(PropertyListErrorCode::corrupt);
}

std::string text(NSString* string) {
    auto result = toUtf8(string);
    if (!result) {
        throwCorrupt();
    }
    return std::move(*result);
}

PropertyValue data(NSData* bytes) {
    const auto* const begin = static_cast<const std::byte*>(bytes.bytes);
    return {Bytes(begin, begin + bytes.length)};
}

PropertyValue number(NSNumber* object) {
    auto* const reference = (__bridge CFNumberRef)object;
    if (CFGetTypeID(reference) == CFBooleanGetTypeID()) {
        return {static_cast<bool>(object.boolValue)};
    }
    if (CFNumberIsFloatType(reference) != 0) {
        return {object.doubleValue};
    }
    std::int64_t value = 0;
    const bool fits = CFNumberGetValue(reference, kCFNumberSInt64Type, &value) != 0;
    return fits ? PropertyValue{value} : PropertyValue{PropertyOther()};
}

PropertyValue convert(id object);

PropertyValue array(NSArray* objects) {
    PropertyArray result;
    for (id object in objects) {
        result.push_back(convert(object));
    }
    return {std::move(result)};
}

PropertyValue dictionary(NSDictionary* objects) {
    PropertyDictionary result;
    for (id key in objects) {
        if (![key isKindOfClass:[NSString class]]) {
            throwCorrupt();
        }
        result.insert_or_assign(text(key), convert(objects[key]));
    }
    return {std::move(result)};
}

// By recursion, which the depth of a document that was let through allows.
PropertyValue convert(id object) {
    if ([object isKindOfClass:[NSString class]]) {
        return {text(object)};
    }
    if ([object isKindOfClass:[NSDictionary class]]) {
        return dictionary(object);
    }
    if ([object isKindOfClass:[NSArray class]]) {
        return array(object);
    }
    if ([object isKindOfClass:[NSNumber class]]) {
        return number(object);
    }
    if ([object isKindOfClass:[NSData class]]) {
        return data(object);
    }
    return {PropertyOther()};
}

} // namespace

PropertyValue PropertyListsFoundation::parse(ByteView document) const {
    const auto kind = propertyListKind(document);
    if (!kind) {
        throwCorrupt();
    }
    @autoreleasepool {
        NSPropertyListFormat format = NSPropertyListXMLFormat_v1_0;
        id const list = [NSPropertyListSerialization propertyListWithData:toNSData(document)
                                                                  options:NSPropertyListImmutable
                                                                   format:&format
                                                                    error:nil];
        const auto expected =
            kind == PropertyListKind::xml ? NSPropertyListXMLFormat_v1_0 : NSPropertyListBinaryFormat_v1_0;
        if (list == nil || format != expected) { // Foundation knows an older kind too
            throwCorrupt();
        }
        return convert(list);
    }
}

} // namespace InstallerCore
