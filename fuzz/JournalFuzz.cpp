#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/install/InstallationJournal.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <string>

// The input is the content of the journal.

namespace InstallerCore::Fuzz {

namespace {

using Phase = InstallationJournal::Phase;

enum class Verdict { noDocument, invalid, accepted };

// The rule, over the JSON library's own parser; a NUL ends no document.
Verdict expected(std::string_view record, nlohmann::json& value) {
    value = nlohmann::json::parse(record, nullptr, /*allow_exceptions=*/false);
    if (record.find('\0') != std::string_view::npos || !(value.is_object() || value.is_array())) {
        return Verdict::noDocument;
    }
    const bool texts = value.is_object() && std::all_of(value.begin(), value.end(), [](const auto& member) {
                           return member.is_string();
                       });
    return texts && value.value("target", "") == "Kavio.app" ? Verdict::accepted : Verdict::invalid;
}

std::optional<std::string> textOfMember(const nlohmann::json& object, const char* key) {
    return object.contains(key) ? std::optional(object.at(key).get<std::string>()) : std::nullopt;
}

Verdict verdictOn(std::string_view record, InstallationJournal& journal) {
    try {
        journal = InstallationJournal::decode(asBytes(record));
        return Verdict::accepted;
    } catch (const InstallerError& error) {
        check(error.errorDescription() == "Invalid installation journal",
              "there is one text for a wrong journal");
        return Verdict::invalid;
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::json, "what is no JSON is an error of JSON");
        return Verdict::noDocument;
    }
}

void checkRoundTrip(Phase phase, const std::string& version) {
    const auto journal = InstallationJournal::decode(InstallationJournal::encode(phase, version));
    check(journal.phase == phase && journal.version == version, "what was written is read back");
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    using Fuzz::check;
    const std::string_view record = Fuzz::textOf(data, size);
    nlohmann::json value;
    InstallationJournal journal;
    const Fuzz::Verdict verdict = Fuzz::verdictOn(record, journal);
    check(verdict == Fuzz::expected(record, value), "a journal is judged by the rule");
    if (verdict != Fuzz::Verdict::accepted) {
        return 0;
    }
    check(journal.version == Fuzz::textOfMember(value, "version"), "the version is the member of that name");
    const auto phase = Fuzz::textOfMember(value, "phase");
    const bool known = phase == "copying" || phase == "replacing" || phase == "installed";
    check(journal.phase.has_value() == known, "three phases are known");
    check(!known || InstallationJournal::name(*journal.phase) == *phase, "a phase has its name");
    Fuzz::checkRoundTrip(journal.phase.value_or(InstallationJournal::Phase::copying),
                         journal.version.value_or("2.0.0"));
    return 0;
}
