#include "rehearsal/signing/Requirements.h"

#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/ByteOrder.h"
#include "rehearsal/signing/OpenSsl.h"

#include <cctype>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* authorityMarker = "1.2.840.113635.100.6.2.6";
constexpr const char* leafMarker = "1.2.840.113635.100.6.1.13";

// The operators of compiled requirements. Operands follow; texts and data are a length, the bytes, and zeros
// up to a multiple of four.
enum class Operator : std::uint32_t {
    identifier = 2,          // text
    both = 6,                // two expressions
    certificateSubject = 11, // certificate, text, match, text
    certificateField = 14,   // certificate, data, match
    appleGenericAnchor = 15,
};

enum class Match : std::uint32_t { exists = 0, equals = 1 };

constexpr std::uint32_t leaf = 0; // certificates are counted from here
constexpr std::uint32_t authority = 1;
constexpr std::uint32_t expressionForm = 1;
constexpr std::uint32_t designatedRequirement = 3;

class Expression {
public:
    template <typename T>
    Expression& put(T value) {
        append(bytes_, static_cast<std::uint32_t>(value), ByteOrder::big);
        return *this;
    }

    Expression& putText(ByteView content) {
        put(content.size());
        append(bytes_, content);
        bytes_.resize((bytes_.size() + 3) / 4 * 4);
        return *this;
    }

    [[nodiscard]] const Bytes& bytes() const noexcept { return bytes_; }

private:
    Bytes bytes_;
};

// The identifier without its DER header.
Bytes field(const char* identifier) {
    const auto parsed = object(identifier);
    const unsigned char* const content = OBJ_get0_data(parsed.get());
    const auto view = std::as_bytes(std::span(content, OBJ_length(parsed.get())));
    return {view.begin(), view.end()};
}

// A value that the language would take for a number, or for nothing, stands in quotation marks.
std::string quotedWhereNeeded(const std::string& text) {
    const bool word = !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0;
    return word ? text : '"' + text + '"';
}

} // namespace

std::string developerIdRequirement(const std::string& identifier, const std::string& team) {
    return "identifier \"" + identifier + "\" and anchor apple generic and certificate 1[field." +
           authorityMarker + "] /* exists */ and certificate leaf[field." + leafMarker +
           "] /* exists */ and certificate leaf[subject.OU] = " + quotedWhereNeeded(team);
}

std::string cdHashRequirement(std::span<const CodeHash> hashes) {
    std::string text;
    for (const CodeHash& hash : hashes) {
        text += (text.empty() ? "" : " or ") + std::string("cdhash H\"") + hexadecimal(hash.hash) + '"';
    }
    return text;
}

Bytes requirementSet(const std::string& identifier, const std::string& team) {
    Expression expression;
    expression.put(expressionForm);
    expression.put(Operator::both).put(Operator::identifier).putText(asBytes(identifier));
    expression.put(Operator::both).put(Operator::appleGenericAnchor);
    expression.put(Operator::both).put(Operator::certificateField).put(authority);
    expression.putText(field(authorityMarker)).put(Match::exists);
    expression.put(Operator::both).put(Operator::certificateField).put(leaf);
    expression.putText(field(leafMarker)).put(Match::exists);
    expression.put(Operator::certificateSubject).put(leaf).putText(asBytes("subject.OU"));
    expression.put(Match::equals).putText(asBytes(team));
    const Bytes requirement = makeBlob(Magic::requirement, expression.bytes());
    return makeSuperBlob(Magic::requirements, {{designatedRequirement, requirement}});
}

Bytes emptyRequirementSet() {
    return makeSuperBlob(Magic::requirements, {});
}

} // namespace InstallerCore::Rehearsal
