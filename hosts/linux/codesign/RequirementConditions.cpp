#include "hosts/linux/codesign/RequirementConditions.h"

#include <algorithm>
#include <utility>

namespace InstallerCore::CodeSign::Conditions {

namespace {

// Null when the chain is too short, or there is none.
const Certificate* certificateAt(const RequirementSubject& subject, Position position) {
    if (!subject.signer.has_value()) {
        return nullptr;
    }
    const auto& chain = subject.signer->chain;
    const std::ptrdiff_t index = position >= 0 ? position : std::ssize(chain) + position;
    return index >= 0 && index < std::ssize(chain) ? &chain[static_cast<std::size_t>(index)] : nullptr;
}

bool matches(const std::string& value, const Match& match) {
    if (!match.text.has_value()) {
        return true;
    }
    if (match.looseBegin && match.looseEnd) {
        return value.find(*match.text) != std::string::npos;
    }
    if (match.looseBegin) {
        return value.ends_with(*match.text);
    }
    return match.looseEnd ? value.starts_with(*match.text) : value == *match.text;
}

} // namespace

Condition constant(bool value) {
    return [value](const RequirementSubject&) { return value; };
}

Condition negation(Condition condition) {
    return
        [condition = std::move(condition)](const RequirementSubject& subject) { return !condition(subject); };
}

Condition all(std::vector<Condition> conditions) {
    return [conditions = std::move(conditions)](const RequirementSubject& subject) {
        return std::ranges::all_of(conditions, [&](const Condition& each) { return each(subject); });
    };
}

Condition any(std::vector<Condition> conditions) {
    return [conditions = std::move(conditions)](const RequirementSubject& subject) {
        return std::ranges::any_of(conditions, [&](const Condition& each) { return each(subject); });
    };
}

Condition identifierIs(std::string identifier) {
    return [identifier = std::move(identifier)](const RequirementSubject& subject) {
        return subject.identifier == identifier;
    };
}

Condition cdHashIs(Bytes cdHash) {
    return
        [cdHash = std::move(cdHash)](const RequirementSubject& subject) { return subject.cdHash == cdHash; };
}

Condition anchorTrusted() {
    return [](const RequirementSubject& subject) { return subject.signer.has_value(); };
}

Condition anchorApple() {
    return [](const RequirementSubject& subject) {
        const Certificate* const leaf = certificateAt(subject, 0);
        return leaf != nullptr && leaf->hasExtension(Marker::appleSoftwareLeaf);
    };
}

Condition certificateIs(Position position, Bytes sha1) {
    return [position, sha1 = std::move(sha1)](const RequirementSubject& subject) {
        const Certificate* const certificate = certificateAt(subject, position);
        return certificate != nullptr && hash(HashType::sha1, certificate->der()) == sha1;
    };
}

Condition hasField(Position position, std::string identifier) {
    return [position, identifier = std::move(identifier)](const RequirementSubject& subject) {
        const Certificate* const certificate = certificateAt(subject, position);
        return certificate != nullptr && certificate->hasExtension(identifier);
    };
}

Condition subjectMatches(Position position, std::string attribute, Match match) {
    return [position, attribute = std::move(attribute),
            match = std::move(match)](const RequirementSubject& subject) {
        const Certificate* const certificate = certificateAt(subject, position);
        const auto value = certificate == nullptr ? std::nullopt : certificate->subject(attribute);
        return value.has_value() && matches(*value, match);
    };
}

} // namespace InstallerCore::CodeSign::Conditions
