#include "hosts/linux/codesign/Requirement.h"

#include "tests/hosts/linux/codesign/SigningFixture.h"

#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore {

namespace {

using namespace std::string_literals;
using CodeSign::Requirement;
using CodeSign::RequirementSubject;
using Rehearsal::Role;

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

template <typename... Text>
std::vector<std::string> texts(Text... text) {
    return {std::string(text)...};
}

// As the verification of applications assembles it, without escaping.
std::string ourText(const std::string& identifier, const std::string& team) {
    return "anchor apple generic and identifier \"" + identifier +
           "\" and certificate leaf[subject.OU] = \"" + team + "\"";
}

const std::string hash = "H\"00112233445566778899aAbBcCdDeEfF00112233\"";

const std::vector<std::string> compiling = texts(
    ourText("app.kavio.desktop", "A1B2C3D4E5"), ourText("", ""), ourText("caf\u00e9", "x y"),
    ourText(R"(a\"b)", R"(c\\d)"), // escaped by whoever wrote the values
    // Such a value makes a requirement of another meaning; this program's configuration must not have it.
    ourText("a\" or identifier \"b", "T"), ourText("a * b", "*"), ourText("// no comment", "/* # */"),
    ourText(std::string(10000, 'a'), "T"), "always", "true", "never", "false", "(always)", "!never",
    "! ! always", "identifier com.example.app", "identifier = com.example.app", "identifier \"or\"",
    "anchor apple", "anchor apple generic", "anchor trusted", "anchor = " + hash, "cdhash " + hash,
    "cert leaf = " + hash, "certificate root[subject.CN]", "certificate anchor[subject.CN] exists",
    "certificate 1[subject.O] = \"x\"", "certificate -1[subject.O] = *x", "certificate -2[subject.O] = x*",
    "cert 0[subject.O] = *\"x y\"*", "certificate leaf [ field.1.2.840.113635.100.6.1.13 ] exists",
    "certificate 1[field.1.2.840.113635.100.6.2.6] /* exists */ and always",
    "certificate leaf[subject.NOSUCH] = x", "always // to the end", "always # to the end",
    "# designated\nalways", "/* a */always/* b */", "always\r\nand\talways", "never or never",
    repeated("(", 60) + "always" + repeated(")", 60), repeated("!", 60) + "always",
    "always" + repeated(" and always", 5000));

// Our text with values that no configuration should have.
const std::vector<std::string> hostile = texts(
    ourText("a\"b", "T"), ourText("a", "T\""), ourText("a\"", "T"), ourText("a", "\"T"), ourText("\"", "\""),
    ourText("a\\", "T"), ourText("a", "T\\"), ourText("a\nb", "T"), ourText("a", "T\r"), ourText("a\tb", "T"),
    ourText("a\0b"s, "T"), ourText("a", "T\0"s), ourText("a\x7f", "T"), ourText("\xff", "T"),
    ourText("a", "\xc3"), ourText(std::string(70000, 'a'), "T"), ourText("a\" and", "T"),
    ourText("a\" or (always", "T"), ourText("a\" /*", "T"));

const std::vector<std::string> refused = texts(
    "", " ", "/* always */", "// always", "always always", "always and", "and always", "always or",
    "not always", "always && always", "always,", "always;", "(always", "always)", "()", "!", "ALWAYS",
    "al ways", "alwaysx", "/* always", "always /*", "always */", "identifier",
    "identifier =", "identifier == a", "identifier and", "identifier \"a", "identifier a-b", "identifier a_b",
    "identifier a/b", "identifier \"a\" \"b\"", "identifier " + hash, "anchor", "anchor generic",
    "anchor apple generic generic", "anchor =", "anchor = \"/some/file\"", "anchor = /some/file",
    "anchor = H\"00\"", "anchor = H\"\"", "anchor = H\"00112233445566778899aabbccddeeff0011223\"",
    "anchor = H\"00112233445566778899aabbccddeeff0011223g\"",
    "anchor = H \"00112233445566778899aabbccddeeff00112233\"", "cdhash", "cdhash abc", "cdhash = " + hash,
    "cdhash H\"0011\"", "certificate", "certificate leaf", "certificate leaf[]", "certificate leaf[subject]",
    "certificate leaf[subject.]", "certificate leaf[subject.OU", "certificate leaf subject.OU",
    "certificate leaf[subject.OU] =", "certificate leaf[subject.OU] = *", "certificate leaf[subject.OU] = **",
    "certificate leaf[subject.OU] == T", "certificate leaf[subject.OU] < T",
    "certificate leaf[\"subject.OU\"]", "certificate leaf[field.]", "certificate leaf[field.x]",
    "certificate leaf[field.1..2]", "certificate leaf[field.9.9]", "certificate leaf[field.1.2.3] = x",
    "certificate[subject.OU] = T", "certificate middle[subject.OU] = T", "certificate -leaf[subject.OU] = T",
    "certificate -0[subject.OU] = T", "certificate 1.5[subject.OU] = T",
    "certificate 99999999999999999999[subject.OU] = T", "certificate -99999[subject.OU] = T",
    "info[CFBundleVersion] = 1", "entitlement[x] exists", "designated => always", "host => always",
    "\"always\"", hash, "[", "]", "=", "*", "-", "@", "1", "\xff",
    repeated("(", 64) + "always" + repeated(")", 64), repeated("!", 64) + "always", repeated("(", 30000),
    repeated("!", 60000), repeated("(!", 30000), "always" + repeated(" and always", 6000));

struct Truth {
    const char* text;
    bool holds;
};

const std::vector<Truth> logic{{"always and always", true},
                               {"always and never", false},
                               {"never and always", false},
                               {"never and never", false},
                               {"always or always", true},
                               {"always or never", true},
                               {"never or always", true},
                               {"never or never", false},
                               {"!always", false},
                               {"!never", true},
                               {"!!always", true},
                               {"true", true},
                               {"false", false},
                               // "and" binds tighter than "or", "!" tighter than both.
                               {"always or never and never", true},
                               {"(always or never) and never", false},
                               {"never and never or always", true},
                               {"never and (never or always)", false},
                               {"!never and never", false},
                               {"!(never and never)", true},
                               {"!always or always", true},
                               {"!(always or always)", false},
                               {"always and always and never", false},
                               {"never or never or always", true}};

const std::vector<Truth> aboutCode{{"identifier \"com.example.app\"", true},
                                   {"identifier com.example.app", true},
                                   {"identifier = com.example.app", true},
                                   {"identifier \"com.example.App\"", false},
                                   {"identifier \"com.example.app \"", false},
                                   {"identifier \"com.example\"", false},
                                   {"identifier \"\"", false},
                                   {R"(identifier "com\.example.app")", true},
                                   {"cdhash H\"6162636465666768696a6b6c6d6e6f7071727374\"", true},
                                   {"cdhash H\"6162636465666768696A6B6C6D6E6F7071727374\"", true},
                                   {"cdhash H\"0062636465666768696a6b6c6d6e6f7071727374\"", false}};

const std::vector<Truth> aboutCertificates{
    {"anchor apple generic", true},
    {"anchor trusted", true},
    {"anchor apple", false},
    {"certificate leaf[field.1.2.840.113635.100.6.1.13]", true},
    {"certificate leaf[field.1.2.840.113635.100.6.1.13] exists", true},
    {"certificate 0[field.1.2.840.113635.100.6.1.13] exists", true},
    {"certificate 1[field.1.2.840.113635.100.6.1.13] exists", false},
    {"certificate 1[field.1.2.840.113635.100.6.2.6] /* exists */", true},
    {"certificate leaf[field.1.2.840.113635.100.6.2.6]", false},
    {"certificate leaf[subject.O] = \"Kavio Test\"", true},
    {"certificate leaf[subject.O] exists", true},
    {"certificate leaf[subject.O]", true},
    {"certificate leaf[subject.O] = \"kavio test\"", false},
    {"certificate leaf[subject.O] = \"Kavio Test \"", false},
    {"certificate leaf[subject.O] = \"Kavio\"", false},
    {"certificate leaf[subject.O] = Kavio*", true},
    {"certificate leaf[subject.O] = *Kavio", false},
    {"certificate leaf[subject.O] = *Test", true},
    {"certificate leaf[subject.O] = Test*", false},
    {"certificate leaf[subject.O] = *\"o T\"*", true},
    {"certificate leaf[subject.O] = *oT*", false},
    {"certificate leaf[subject.O] = *\"Kavio Test\"*", true},
    {"certificate leaf[subject.O] = \"Kavio*\"", false}, // quoted, an asterisk is one
    // What is absent equals nothing, not even an empty text, and does not exist.
    {"certificate leaf[subject.L] = \"\"", false},
    {"certificate leaf[subject.L] = *\"\"*", false},
    {"certificate leaf[subject.L] exists", false},
    {"certificate leaf[subject.NOSUCH] exists", false},
    {"certificate leaf[subject.D] exists", false},
    {"certificate leaf[subject.STREET] exists", false},
    {"certificate root[subject.CN] = \"Kavio Test Root CA\"", true},
    {"certificate anchor[subject.CN] = \"Kavio Test Root CA\"", true},
    {"certificate 2[subject.CN] = \"Kavio Test Root CA\"", true},
    {"certificate -1[subject.CN] = \"Kavio Test Root CA\"", true},
    {"certificate -3[subject.CN] = \"Developer ID Application\"*", true},
    {"certificate 3[subject.CN] exists", false},
    {"certificate -4[subject.CN] exists", false},
    {"certificate 1000[subject.CN] exists", false},
    {"anchor = H\"00112233445566778899aabbccddeeff00112233\"", false}};

class RequirementTest : public Testing::SigningFixture {
protected:
    [[nodiscard]] bool isMet(const std::string& text) const { return isMet(text, subject_); }

    [[nodiscard]] static bool isMet(const std::string& text, const RequirementSubject& subject) {
        const auto requirement = Requirement::compile(text);
        EXPECT_TRUE(requirement.has_value()) << text;
        return requirement.has_value() && requirement->isMetBy(subject);
    }

    [[nodiscard]] static CodeSign::Signer signer(const Rehearsal::SigningIdentity& identity) {
        return {.chain = {certificate(identity, Role::leaf), certificate(identity, Role::authority),
                          certificate(identity, Role::root)},
                .timeStamp = std::nullopt};
    }

    static Bytes bytes(std::string_view text) { return toBytes(text); }

    const RequirementSubject subject_{.identifier = "com.example.app",
                                      .cdHash = bytes("abcdefghijklmnopqrst"),
                                      .signer = signer(identity_)};
    const RequirementSubject adHoc_{
        .identifier = subject_.identifier, .cdHash = subject_.cdHash, .signer = std::nullopt};
};

TEST_F(RequirementTest, Compiles) {
    for (const std::string& text : compiling) {
        EXPECT_TRUE(Requirement::compile(text).has_value()) << text.substr(0, 200);
    }
}

TEST_F(RequirementTest, DoesNotCompile) {
    for (const auto* const texts : {&hostile, &refused}) {
        for (const std::string& text : *texts) {
            EXPECT_FALSE(Requirement::compile(text).has_value()) << text.substr(0, 200);
        }
    }
}

TEST_F(RequirementTest, HoldsOrNot) {
    for (const auto* const table : {&logic, &aboutCode, &aboutCertificates}) {
        for (const Truth& truth : *table) {
            EXPECT_EQ(isMet(truth.text), truth.holds) << truth.text;
        }
    }
}

TEST_F(RequirementTest, IsOurTextForTheRightIdentifierAndTeamOnly) {
    const std::string& team = identity_.team();
    EXPECT_TRUE(isMet(ourText("com.example.app", team)));
    EXPECT_FALSE(isMet(ourText("com.example.other", team)));
    EXPECT_FALSE(isMet(ourText("com.example.app", "ZZZZZZZZZZ")));
    EXPECT_FALSE(isMet(ourText("com.example.app", "")));
    EXPECT_FALSE(isMet(ourText("", team)));
    EXPECT_FALSE(isMet(ourText("com.example.app", team), adHoc_));
}

TEST_F(RequirementTest, KnowsCertificatesByTheirSha1) {
    const auto sha1 = [&](Role role) {
        return "H\"" +
               hexadecimal(CodeSign::hash(CodeSign::HashType::sha1, certificate(identity_, role).der())) +
               "\"";
    };
    EXPECT_TRUE(isMet("anchor = " + sha1(Role::root)));
    EXPECT_TRUE(isMet("certificate root = " + sha1(Role::root)));
    EXPECT_TRUE(isMet("certificate leaf = " + sha1(Role::leaf)));
    EXPECT_TRUE(isMet("certificate 1 = " + sha1(Role::authority)));
    EXPECT_FALSE(isMet("anchor = " + sha1(Role::leaf)));
    EXPECT_FALSE(isMet("certificate leaf = " + sha1(Role::root)));
    EXPECT_FALSE(isMet("certificate 3 = " + sha1(Role::root)));
}

TEST_F(RequirementTest, FindsNoCertificateInAnAdHocSignature) {
    for (const char* const text :
         {"anchor apple", "anchor apple generic", "anchor trusted", "certificate leaf[subject.O] exists",
          "certificate root[field.1.2.840.113635.100.6.2.6]",
          "anchor = H\"00112233445566778899aabbccddeeff00112233\""}) {
        EXPECT_FALSE(isMet(text, adHoc_)) << text;
    }
    EXPECT_TRUE(isMet("identifier com.example.app and ! anchor apple generic", adHoc_));
}

TEST_F(RequirementTest, TakesAppleSoftwareByItsMarker) {
    const auto apple = identity_.reissued({.leaf = {.extensions = {CodeSign::Marker::appleSoftwareLeaf}}});
    EXPECT_TRUE(isMet("anchor apple", {.identifier = "x", .cdHash = {}, .signer = signer(apple)}));
}

TEST_F(RequirementTest, ComparesAnAttributeInUnicode) {
    const auto named =
        identity_.reissued({.leaf = {.commonName = "K\u00e4vio \u30ab\u30d3\u30aa \"x\" \\ *"}});
    const RequirementSubject subject{.identifier = "x", .cdHash = {}, .signer = signer(named)};
    EXPECT_TRUE(
        isMet("certificate leaf[subject.CN] = \"K\u00e4vio \u30ab\u30d3\u30aa \\\"x\\\" \\\\ *\"", subject));
    EXPECT_FALSE(
        isMet("certificate leaf[subject.CN] = \"Ka\u0308vio \u30ab\u30d3\u30aa \\\"x\\\" \\\\ *\"", subject));
}

} // namespace

} // namespace InstallerCore
