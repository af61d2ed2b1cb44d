#include "hosts/linux/codesign/RequirementTokens.h"

#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/UnicodeText.h"

#include <algorithm>
#include <charconv>

namespace InstallerCore::CodeSign {

namespace {

using Kind = RequirementToken::Kind;

constexpr std::string_view symbols = "()[]!=*-";
constexpr std::string_view blanks = " \t\r\n\v\f";

bool isWordCharacter(char c) {
    const char lower = Ascii::lowerCase(c);
    return Ascii::isDigit(c) || c == '.' || (lower >= 'a' && lower <= 'z');
}

class Tokenizer {
public:
    explicit Tokenizer(std::string_view text) : rest_(text) {}

    std::vector<RequirementToken> all() {
        std::vector<RequirementToken> tokens;
        skipBetween();
        while (!rest_.empty()) {
            tokens.push_back(next());
            skipBetween();
        }
        return tokens;
    }

private:
    std::string_view take(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    void skipBetween() {
        while (true) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
            if (rest_.starts_with("/*")) {
                const std::size_t end = rest_.find("*/", 2);
                demandSyntax(end != std::string_view::npos);
                take(end + 2);
            } else if (rest_.starts_with("//") || rest_.starts_with('#')) {
                take(std::min(rest_.find_first_of("\r\n"), rest_.size()));
            } else {
                return;
            }
        }
    }

    RequirementToken next() {
        if (rest_.starts_with('"')) {
            return {.kind = Kind::text, .text = quoted()};
        }
        if (rest_.starts_with("H\"")) {
            take(1);
            return {.kind = Kind::hash, .text = fromHexadecimal(quoted())};
        }
        if (symbols.find(rest_.front()) != std::string_view::npos) {
            return {.kind = Kind::symbol, .text = std::string(take(1))};
        }
        const auto* const end = std::ranges::find_if_not(rest_, isWordCharacter);
        demandSyntax(end != rest_.begin());
        return {.kind = Kind::word, .text = std::string(take(static_cast<std::size_t>(end - rest_.begin())))};
    }

    std::string quoted() {
        std::string value;
        take(1);
        while (!rest_.starts_with('"')) {
            if (rest_.starts_with('\\')) {
                take(1);
            }
            demandSyntax(!rest_.empty() && !Ascii::isControl(rest_.front()));
            value += take(1);
        }
        take(1);
        return value;
    }

    static std::string fromHexadecimal(std::string_view digits) {
        demandSyntax(digits.size() % 2 == 0 && std::ranges::all_of(digits, Ascii::isHexadecimalDigit));
        std::string bytes;
        for (; !digits.empty(); digits.remove_prefix(2)) {
            unsigned char byte = 0;
            std::from_chars(digits.data(), digits.data() + 2, byte, 16);
            bytes += static_cast<char>(byte);
        }
        return bytes;
    }

    static void demandSyntax(bool condition) {
        if (!condition) {
            throw RequirementSyntaxError();
        }
    }

    std::string_view rest_;
};

} // namespace

std::vector<RequirementToken> requirementTokens(std::string_view text) {
    if (!isUtf8(text) || text.find('\0') != std::string_view::npos) {
        throw RequirementSyntaxError();
    }
    return Tokenizer(text).all();
}

} // namespace InstallerCore::CodeSign
