#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/install/MachOArchitectures.h"
#include "fuzz/Check.h"

#include <algorithm>
#include <optional>

// The input is the start of an executable file.

namespace InstallerCore::Fuzz {

namespace {

struct Outcome {
    std::set<std::string> architectures;
    std::string error; // empty: none

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

Outcome outcome(std::string_view executable) {
    try {
        return {machOArchitectures(asBytes(executable)), {}};
    } catch (const InstallerError& error) {
        return {{}, error.errorDescription()};
    }
}

// The four bytes as a big-endian file has them; absent beyond the end.
std::optional<std::string> word(std::string_view file, std::size_t offset, bool bigEndian) {
    if (file.size() < 4 || offset > file.size() - 4) {
        return std::nullopt;
    }
    std::string bytes(file.substr(offset, 4));
    if (!bigEndian) {
        std::reverse(bytes.begin(), bytes.end());
    }
    return bytes;
}

void addName(const std::string& processor, std::set<std::string>& names) {
    if (processor == std::string("\x01\0\0\x0c", 4)) {
        names.insert("arm64");
    }
    if (processor == std::string("\x01\0\0\x07", 4)) {
        names.insert("x64");
    }
}

// The rule again, on texts instead of numbers.
Outcome expected(std::string_view file) {
    const Outcome tooShort{{}, "Invalid Mach-O header"};
    for (const bool bigEndian : {true, false}) {
        const auto magic = word(file, 0, bigEndian);
        if (!magic) {
            return tooShort;
        }
        const auto second = word(file, 4, bigEndian);
        Outcome result;
        if (*magic == "\xfe\xed\xfa\xcf") {
            if (!second) {
                return tooShort;
            }
            addName(*second, result.architectures);
            return result;
        }
        if (*magic != "\xca\xfe\xba\xbe" && *magic != "\xca\xfe\xba\xbf") {
            continue;
        }
        if (!second) {
            return tooShort;
        }
        const std::size_t size = magic->back() == '\xbe' ? 20 : 32;
        const auto count = static_cast<unsigned char>(second->back());
        if (second->substr(0, 3) != std::string(3, '\0') || count == 0 || count > 64) {
            return {{}, "Invalid Mach-O architecture count"};
        }
        for (std::size_t i = 0; i < count; ++i) {
            const auto processor = word(file, 8 + i * size, bigEndian);
            if (!processor) {
                return tooShort;
            }
            addName(*processor, result.architectures);
        }
        return result;
    }
    return {{}, "Unsupported Mach-O format"};
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore::Fuzz;
    const std::string_view file = textOf(data, size);
    const Outcome found = outcome(file);
    check(found == expected(file), "the architectures are those of the header");
    constexpr std::size_t longestHeader = 4096;
    check(outcome(file.substr(0, longestHeader)) == found, "the first 4096 bytes are enough");
    return 0;
}
