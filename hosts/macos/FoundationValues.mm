#include "hosts/macos/FoundationValues.h"

namespace InstallerCore {

NSString* toNSString(std::string_view text) {
    NSString* const string = [[NSString alloc] initWithBytes:text.data()
                                                      length:text.size()
                                                    encoding:NSUTF8StringEncoding];
    return string == nil ? @"" : string;
}

std::string toString(NSString* string) {
    return toUtf8(string).value_or("");
}

std::optional<std::string> toUtf8(NSString* string) {
    NSData* const utf8 = [string dataUsingEncoding:NSUTF8StringEncoding];
    if (utf8 == nil) {
        return std::nullopt;
    }
    std::string text;
    text.reserve(utf8.length); // so that nothing throws in the block, which is called by Foundation
    std::string* const result = &text;
    [utf8 enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL*) {
        result->append(static_cast<const char*>(bytes), range.length);
    }];
    return text;
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
