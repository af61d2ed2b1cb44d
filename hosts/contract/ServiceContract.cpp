#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/platform/Languages.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/Resources.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/platform/SystemLog.h"
#include "InstallerCore/platform/Workspace.h"
#include "hosts/contract/Contract.h"

#include <cstdio>

namespace InstallerCore::HostContract {

void checkPropertyLists(Contract& contract) {
    const PropertyLists& lists = contract.platform().propertyLists;
    const auto parse = [&](std::string_view document) { return lists.parse(asBytes(document)); };
    const PropertyValue value =
        parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict><key>text</key>"
              "<string>\xC3\xA4</string><key>yes</key><true/><key>number</key><integer>-7</integer>"
              "<key>real</key><real>0.5</real><key>data</key><data>AAE=</data><key>list</key><array>"
              "<integer>1</integer></array><key>date</key><date>2020-01-01T00:00:00Z</date>"
              "<key>large</key><integer>18446744073709551615</integer></dict></plist>");
    const PropertyDictionary expected{
        {"text", {std::string("\xC3\xA4")}},
        {"yes", {true}},
        {"number", {std::int64_t{-7}}},
        {"real", {0.5}},
        {"data", {Bytes{std::byte{0}, std::byte{1}}}},
        {"list", {PropertyArray{{std::int64_t{1}}}}},
        {"date", {PropertyOther()}},
        {"large", {PropertyOther()}},
    };
    for (const auto& [key, expectedValue] : expected) {
        const PropertyValue* const found =
            value.dictionary() == nullptr ? nullptr : member(*value.dictionary(), key);
        contract.that("XML: " + key, found != nullptr && *found == expectedValue);
    }
    contract.that("XML: nothing else", value == PropertyValue{expected});
    using namespace std::string_literals;
    const std::string binary = "bplist00\x51"
                               "a\x08"s +
                               std::string(6, '\0') + "\1\1" + "\0\0\0\0\0\0\0\1"s + std::string(8, '\0') +
                               "\0\0\0\0\0\0\0\x0A"s;
    contract.that("binary is read", parse(binary) == PropertyValue{std::string("a")});
    for (const char* wrong :
         {"", "{ a = b; }", "<plist><string>a</plist>", "<?xml encoding=\"UTF-16\"?><plist/>"}) {
        contract.fails(std::string("corrupt: ") + wrong, PropertyListErrorCode::corrupt,
                       [&] { static_cast<void>(parse(wrong)); });
    }
}

void checkDigests(Contract& contract) {
    const auto digest = [&](std::string_view text) {
        const auto sha = contract.platform().digests.sha512();
        sha->update(asBytes(text.substr(0, text.size() / 2)));
        sha->update(asBytes(text.substr(text.size() / 2)));
        return hexadecimal(sha->finish());
    };
    contract.that("SHA-512 of nothing",
                  digest("") == "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                                "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e");
    contract.that("SHA-512 of \"abc\"",
                  digest("abc") == "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                   "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

void checkLanguages(Contract& contract) {
    const Languages& languages = contract.platform().languages;
    contract.that("the user prefers a language", !languages.preferred().empty());
    for (const std::string& tag : languages.preferred()) {
        std::printf("       %s\n", tag.c_str());
    }
    contract.that("a half in en-US", languages.percent(0.5, "en-US") == "50.0%");
    contract.that("0.123 in en-US", languages.percent(0.123, "en-US") == "12.3%");
    contract.that("a half in de-DE", languages.percent(0.5, "de-DE") == "50,0\xC2\xA0%");
    contract.that("a half in ar-SA has its own digits",
                  languages.percent(0.5, "ar-SA").find("\xD9\xA5\xD9\xA0") != std::string::npos);
    const std::string nobodys = languages.percent(0.5, "\xFF");
    contract.that("a tag that is not UTF-8 is any language or none",
                  nobodys.empty() || nobodys.find('5') != std::string::npos);
}

void checkSystem(Contract& contract) {
    const SystemInfo& system = contract.platform().system;
    const SystemVersion version = system.version();
    std::printf("       macOS %d.%d.%d, %s\n", version.major, version.minor, version.patch,
                system.hasArm64() ? "arm64" : "x64");
    contract.that("the version is a real one, not that of an old program's view", version.major >= 12);
    contract.that("the processor is known", system.hasArm64() == contract.surroundings().hasArm64);
    contract.platform().log.write("Installer contract: a line for the system log, 100% %s");
}

void checkResources(Contract& contract) {
    const Resources& resources = contract.platform().resources;
    const auto resource = resources.find("contract", "txt");
    contract.that("a resource is found", resource && contentOf(*resource) == "A resource of the contract.\n");
    contract.that("a missing one is absent", !resources.find("missing", "txt"));
    contract.that("so is one of another extension", !resources.find("contract", "json"));
    contract.that("none has no name", !resources.find("", "txt"));
}

void checkWorkspace(Contract& contract) {
    const Workspace& workspace = contract.platform().workspace;
    contract.that("a running application runs",
                  workspace.isRunning(contract.surroundings().runningApplication));
    contract.that("no other does", !workspace.isRunning("dev.kavio.no-such-application"));
    contract.that("no application has no identifier", !workspace.isRunning(""));
}

} // namespace InstallerCore::HostContract
