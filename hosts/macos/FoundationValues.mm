#include "hosts/macos/FoundationValues.h"

#include "InstallerCore/support/UnicodeText.h"

namespace InstallerCore {

NSString* toNSString(std::string_view text) {
    NSString* const string = fromUtf8(text);
    return string == nil ? @"" : string;
}

NSString* fromUtf8(std::string_view text) {
    if (!isUtf8(text)) { // by our own judgement
        return nil;
    }
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

std::string toString(NSString* string) {
    return toUtf8(string).value_or("");
}

std::optional<std::string> toUtf8(NSString* string) {
    NSData* const utf8 = [string dataUsingEncoding:NSUTF8StringEncoding];
    if (utf8 == nil) {
        return std::nullopt;
    }
    return std::string(static_cast<const char*>(utf8.bytes), utf8.length);
}

NSData* toNSData(ByteView bytes) {
    // Foundation only reads, whatever its signature says.
    auto* const begin = const_cast<std::byte*>(bytes.data());
    return [[NSData alloc] initWithBytesNoCopy:begin length:bytes.size() freeWhenDone:NO];
}

NSURL* toNSURL(const std::filesystem::path& path) {
    return [NSURL fileURLWithFileSystemRepresentation:path.c_str() isDirectory:NO relativeToURL:nil];
}

std::filesystem::path toPath(NSURL* fileUrl) {
    return fileUrl.fileSystemRepresentation;
}

NSURL* toNSURL(const Url& url) {
    NSString* const text = toNSString(url.text());
    NSURL* const result = [NSURL URLWithString:text];
    return [result.absoluteString isEqualToString:text] ? result : nil;
}

} // namespace InstallerCore
