#include "InstallerCore/support/Base64.h"

#include <algorithm>
#include <cstdint>

namespace InstallerCore {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t groupLength = 4;

std::size_t paddingOf(std::string_view text) {
    if (text.ends_with("==")) {
        return 2;
    }
    return text.ends_with('=') ? 1 : 0;
}

} // namespace

std::string encodeBase64(ByteView bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * groupLength);
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = (group << 8U) | (i < count ? std::to_integer<std::uint32_t>(bytes[start + i]) : 0);
        }
        for (std::size_t i = 0; i < groupLength; ++i) {
            text += i <= count ? alphabet[(group >> (18 - 6 * i)) & 0x3FU] : '=';
        }
    }
    return text;
}

std::optional<Bytes> decodeBase64(std::string_view text) {
    if (text.size() % groupLength != 0) {
        return std::nullopt;
    }
    const std::size_t padding = paddingOf(text);
    Bytes bytes;
    bytes.reserve(text.size() / groupLength * 3);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool padded = i >= text.size() - padding;
        const std::size_t value = padded ? 0 : alphabet.find(text[i]);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        group = (group << 6U) | static_cast<std::uint32_t>(value);
        if (i % groupLength == groupLength - 1) {
            for (const unsigned shift : {16U, 8U, 0U}) {
                bytes.push_back(static_cast<std::byte>(group >> shift));
            }
            group = 0;
        }
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

} // namespace InstallerCore
