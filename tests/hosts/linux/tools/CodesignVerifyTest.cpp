#include "rehearsal/SampleSignature.h"
#include "rehearsal/signing/SigningIdentity.h"
#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/tools/ToolRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;
using Testing::ToolRun;

constexpr const char* resource = "Contents/Resources/Kavio.txt";
constexpr const char* executable = "Contents/MacOS/Kavio (arm64)";

class CodesignVerifyTest : public Testing::BundleFixture {
protected:
    static void expectRun(const std::vector<std::string>& arguments, int status, const std::string& errors) {
        const ToolRun run = Testing::runTool(CODESIGN_VERIFY_PROGRAM, arguments);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, errors);
    }

    static void expectUsageError(const std::vector<std::string>& arguments, const std::string& sentence) {
        expectRun(arguments, 2, "codesign-verify: " + sentence + "\n");
    }

    // Signed by the identity of this build.
    [[nodiscard]] fs::path sampleRelease() {
        const fs::path bundle = unsignedCopy();
        Rehearsal::signSampleApplication(bundle);
        return bundle;
    }

    [[nodiscard]] std::string pemOf(const Rehearsal::SigningIdentity& identity) const {
        const std::string file = directory / "roots.pem";
        Testing::writeFile(file, identity.rootPem());
        return file;
    }
};

TEST_F(CodesignVerifyTest, isSilentAboutWhatIsValid) {
    const fs::path bundle = sampleRelease();
    expectRun({bundle}, 0, "");
    expectRun({bundle / "Contents/Helpers/KavioHelper", bundle}, 0, "");
    expectRun({copy()}, 0, ""); // signed by nobody, and nobody asked
}

TEST_F(CodesignVerifyTest, saysOfEachPathWhyItIsRefused) {
    const std::string valid = sampleRelease();
    const std::string altered = sampleRelease();
    const std::string missing = directory / "missing";
    Testing::flipByte(fs::path(altered) / resource, 0);
    const std::string ofAltered = altered + ": " + resource + ": does not have its sealed content\n";
    const std::string ofMissing = missing + ": there is nothing that can be read\n";
    expectRun({altered}, 1, ofAltered);
    expectRun({altered, valid, missing}, 1, ofAltered + ofMissing);
    expectRun({valid, missing, altered, valid}, 1, ofMissing + ofAltered);
}

TEST_F(CodesignVerifyTest, eachPathMeetsTheRequirement) {
    const std::string bundle = sampleRelease();
    const std::string adHocBundle = copy();
    const std::string team = Rehearsal::sampleIdentity().team();
    const std::string requirement =
        "anchor apple generic and certificate leaf[subject.OU] = \"" + team + "\"";
    expectRun({"--requirement", requirement, bundle}, 0, "");
    const std::string refusal = std::string(executable) + ": does not meet the requirement\n";
    expectRun({"--requirement", requirement, bundle, adHocBundle}, 1, adHocBundle + ": " + refusal);
    expectRun({bundle, "--requirement", "identifier test.other"}, 1, bundle + ": " + refusal);
}

TEST_F(CodesignVerifyTest, trustsTheRootsThatItIsGiven) {
    const std::string bundle = sampleRelease();
    expectRun({"--roots", pemOf(Rehearsal::sampleIdentity()), bundle}, 0, "");
    const auto expectRefused = [&](const std::string& roots) {
        const ToolRun run = Testing::runTool(CODESIGN_VERIFY_PROGRAM, {"--roots", roots, bundle});
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.errors.starts_with(bundle + ": " + executable + ": ")) << run.errors;
    };
    expectRefused("apple");
    expectRefused(pemOf(Rehearsal::SigningIdentity::make()));
}

TEST_F(CodesignVerifyTest, anotherCommandLineIsRefused) {
    const std::string bundle = copy();
    constexpr const char* usage = "usage: codesign-verify [--roots apple|FILE] [--requirement TEXT] PATH...";
    expectUsageError({}, usage);
    expectUsageError({"--roots", "apple"}, usage);
    expectUsageError({bundle, "--roots"}, "--roots needs a value");
    expectUsageError({bundle, "--requirement"}, "--requirement needs a value");
    expectUsageError({"--help"}, "there is no option --help");
    expectUsageError({"--requirement", "identifier \"a\"b\"", bundle}, "the requirement does not compile");
    expectUsageError({"--requirement", "", bundle}, "the requirement does not compile");
}

TEST_F(CodesignVerifyTest, rootsThatCannotBeReadAreRefused) {
    const std::string bundle = copy();
    const std::string file = directory / "roots.pem";
    expectUsageError({"--roots", file, bundle}, file + ": the trusted roots hold no certificate");
    Testing::writeFile(file, "no certificate");
    expectUsageError({"--roots", file, bundle}, file + ": the trusted roots hold no certificate");
}

} // namespace

} // namespace InstallerCore
