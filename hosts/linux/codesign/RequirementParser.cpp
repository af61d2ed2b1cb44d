#include "hosts/linux/codesign/RequirementParser.h"

#include "InstallerCore/support/ParseInteger.h"
#include "hosts/linux/codesign/Asn1.h"
#include "hosts/linux/codesign/RequirementTokens.h"

#include <algorithm>
#include <array>
#include <utility>

namespace InstallerCore::CodeSign {

namespace {

using Conditions::Condition;
using Kind = RequirementToken::Kind;

constexpr std::size_t longestText = std::size_t{64} << 10U;
constexpr int deepestNesting = 64;

constexpr std::array<std::string_view, 22> keywords = {
    "always", "anchor", "and",   "apple",   "cdhash",     "cert",   "certificate", "entitlement",
    "exists", "false",  "field", "generic", "identifier", "info",   "leaf",        "library",
    "never",  "or",     "root",  "subject", "true",       "trusted"};

// OpenSSL's short name for an attribute of a subject.
std::string shortName(const std::string& attribute) {
    if (attribute == "D") {
        return "description";
    }
    return attribute == "STREET" ? "street" : attribute;
}

Bytes bytesOf(const RequirementToken& token) {
    return toBytes(token.text);
}

class Parser {
public:
    explicit Parser(std::vector<RequirementToken> tokens) : tokens_(std::move(tokens)) {}

    Condition whole() {
        Condition condition = requirement();
        demandSyntax(position_ == tokens_.size());
        return condition;
    }

private:
    Condition requirement() {
        std::vector<Condition> alternatives{conjunction()};
        while (acceptWord("or")) {
            alternatives.push_back(conjunction());
        }
        return alternatives.size() == 1 ? std::move(alternatives.front())
                                        : Conditions::any(std::move(alternatives));
    }

    Condition conjunction() {
        std::vector<Condition> terms{term()};
        while (acceptWord("and")) {
            terms.push_back(term());
        }
        return terms.size() == 1 ? std::move(terms.front()) : Conditions::all(std::move(terms));
    }

    Condition term() {
        demandSyntax(++depth_ <= deepestNesting);
        Condition condition = acceptSymbol("!") ? Conditions::negation(term()) : positiveTerm();
        --depth_;
        return condition;
    }

    Condition positiveTerm() {
        if (acceptSymbol("(")) {
            Condition inner = requirement();
            demandSyntax(acceptSymbol(")"));
            return inner;
        }
        if (acceptWord("always") || acceptWord("true")) {
            return Conditions::constant(true);
        }
        if (acceptWord("never") || acceptWord("false")) {
            return Conditions::constant(false);
        }
        if (acceptWord("identifier")) {
            acceptSymbol("=");
            return Conditions::identifierIs(value());
        }
        if (acceptWord("cdhash")) {
            return Conditions::cdHashIs(hash());
        }
        if (acceptWord("anchor")) {
            return anchor();
        }
        demandSyntax(acceptWord("certificate") || acceptWord("cert"));
        return certificate();
    }

    Condition anchor() {
        if (acceptWord("trusted")) {
            return Conditions::anchorTrusted();
        }
        if (acceptSymbol("=")) {
            return Conditions::certificateIs(-1, hash());
        }
        demandSyntax(acceptWord("apple"));
        return acceptWord("generic") ? Conditions::anchorTrusted() : Conditions::anchorApple();
    }

    Condition certificate() {
        const Conditions::Position position = certificatePosition();
        if (acceptSymbol("=")) {
            return Conditions::certificateIs(position, hash());
        }
        demandSyntax(acceptSymbol("["));
        const std::string element = take(Kind::word).text;
        demandSyntax(acceptSymbol("]"));
        const std::string name = element.substr(element.find('.') + 1);
        if (element.starts_with("field.")) {
            demandSyntax(objectIdentifier(name) != nullptr);
            acceptWord("exists");
            return Conditions::hasField(position, name);
        }
        demandSyntax(element.starts_with("subject.") && !name.empty());
        return Conditions::subjectMatches(position, shortName(name), match());
    }

    Conditions::Position certificatePosition() {
        if (acceptWord("leaf")) {
            return 0;
        }
        if (acceptWord("root") || acceptWord("anchor")) {
            return -1;
        }
        constexpr std::int64_t farthest = 1000;
        const bool fromRoot = acceptSymbol("-");
        const auto number = parseInteger(take(Kind::word).text);
        demandSyntax(number.has_value() && *number <= farthest && *number >= (fromRoot ? 1 : 0));
        return static_cast<Conditions::Position>(fromRoot ? -*number : *number);
    }

    Conditions::Match match() {
        if (acceptWord("exists") || !acceptSymbol("=")) {
            return {};
        }
        Conditions::Match match;
        match.looseBegin = acceptSymbol("*");
        match.text = value();
        match.looseEnd = acceptSymbol("*");
        return match;
    }

    std::string value() {
        if (position_ < tokens_.size() && tokens_[position_].kind == Kind::text) {
            return take(Kind::text).text;
        }
        std::string text = take(Kind::word).text;
        demandSyntax(std::ranges::find(keywords, text) == keywords.end());
        return text;
    }

    // Code directories and certificates both go by 20 bytes here.
    Bytes hash() {
        Bytes bytes = bytesOf(take(Kind::hash));
        demandSyntax(bytes.size() == cdHashSize);
        return bytes;
    }

    RequirementToken take(Kind kind) {
        demandSyntax(position_ < tokens_.size() && tokens_[position_].kind == kind);
        return tokens_[position_++];
    }

    bool accept(Kind kind, std::string_view text) {
        if (position_ == tokens_.size() || tokens_[position_].kind != kind ||
            tokens_[position_].text != text) {
            return false;
        }
        ++position_;
        return true;
    }

    bool acceptWord(std::string_view word) { return accept(Kind::word, word); }

    bool acceptSymbol(std::string_view symbol) { return accept(Kind::symbol, symbol); }

    static void demandSyntax(bool condition) {
        if (!condition) {
            throw RequirementSyntaxError();
        }
    }

    std::vector<RequirementToken> tokens_;
    std::size_t position_ = 0;
    int depth_ = 0;
};

} // namespace

Condition parseRequirement(std::string_view text) {
    if (text.size() > longestText) {
        throw RequirementSyntaxError();
    }
    return Parser(requirementTokens(text)).whole();
}

} // namespace InstallerCore::CodeSign
