#pragma once

#include "InstallerCore/support/Bytes.h"
#include "InstallerCore/support/Url.h"

#import <Foundation/Foundation.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// Our values as Foundation's and back. For Objective-C++ only. Any thread.
namespace InstallerCore {

// Empty when the text is not UTF-8; nil in fromUtf8().
[[nodiscard]] NSString* _Nonnull toNSString(std::string_view text);
[[nodiscard]] NSString* _Nullable fromUtf8(std::string_view text);

// Empty for nil, and for halves of characters, which UTF-8 has no form for; absent for those in toUtf8().
[[nodiscard]] std::string toString(NSString* _Nullable string);
[[nodiscard]] std::optional<std::string> toUtf8(NSString* _Nullable string);

// The same bytes, not a copy: not for longer than they live.
[[nodiscard]] NSData* _Nonnull toNSData(ByteView bytes);

// Of a file. The path may be relative to the working directory.
[[nodiscard]] NSURL* _Nonnull toNSURL(const std::filesystem::path& path);
[[nodiscard]] std::filesystem::path toPath(NSURL* _Nonnull fileUrl);

// Nil when Foundation would go to any other address than this one, which was checked.
[[nodiscard]] NSURL* _Nullable toNSURL(const Url& url);

} // namespace InstallerCore
