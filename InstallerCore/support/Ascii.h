#pragma once

// Characters of ASCII, whatever the process's locale; bytes beyond it are none of these and stay as they are.
// Pure; any thread.
namespace InstallerCore::Ascii {

[[nodiscard]] constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr bool isHexadecimalDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

[[nodiscard]] constexpr bool isControl(char c) {
    constexpr auto firstPrintable = 0x20U;
    constexpr auto remove = 0x7FU;
    const auto byte = static_cast<unsigned char>(c);
    return byte < firstPrintable || byte == remove;
}

[[nodiscard]] constexpr char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] constexpr char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace InstallerCore::Ascii
