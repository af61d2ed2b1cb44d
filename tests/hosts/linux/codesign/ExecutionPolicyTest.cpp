#include "hosts/linux/codesign/ExecutionPolicy.h"

#include "rehearsal/signing/TicketMaker.h"
#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/support/Trap.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Rehearsal::SigningIdentity;
using Testing::addFile;
using Testing::TrapKind;

const SigningIdentity& identity() {
    static const SigningIdentity identity = SigningIdentity::load(KAVIO_SAMPLE_IDENTITY);
    return identity;
}

class ExecutionPolicyTest : public Testing::BundleFixture {
protected:
    [[nodiscard]] std::string refusal(const fs::path& bundle,
                                      StapledTicket ticket = StapledTicket::notAsked) const {
        return Testing::refusalOf([&] {
            assessExecution(bundle, ticket, roots, std::time(nullptr));
            return 0;
        });
    }

    // As a maker signs for users, unless the options say otherwise.
    [[nodiscard]] fs::path signedBundle(const Rehearsal::BundleOptions& options = {},
                                        const SigningIdentity& signer = identity()) {
        const fs::path bundle = unsignedCopy();
        Rehearsal::signBundle(bundle, &signer, options);
        return bundle;
    }

    const TrustRoots roots = TrustRoots::fromPem(identity().rootPem());
};

TEST_F(ExecutionPolicyTest, whatItsMakerSignedForUsersMayBeOpened) {
    EXPECT_EQ(refusal(signedBundle()), "");
}

TEST_F(ExecutionPolicyTest, onlyAnApplicationIsOpened) {
    EXPECT_EQ(refusal(directory / "missing"), "is no application");
    EXPECT_EQ(refusal(directory.path()), "is no application");
    const fs::path bundle = signedBundle();
    EXPECT_EQ(refusal(bundle / "Contents/Helpers/KavioHelper"), "is no application");
    EXPECT_EQ(refusal(bundle / "Contents/Frameworks/KavioKit.framework"), "is no application");
    fs::rename(bundle / "Contents", directory / "elsewhere");
    fs::create_symlink(directory / "elsewhere", bundle / "Contents");
    EXPECT_EQ(refusal(bundle), "is no application");
}

TEST_F(ExecutionPolicyTest, itIsValid) {
    const fs::path bundle = signedBundle();
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    EXPECT_EQ(refusal(bundle), "Contents/Resources/Kavio.txt: does not have its sealed content");
}

TEST_F(ExecutionPolicyTest, somebodySignedItWithADeveloperId) {
    EXPECT_EQ(refusal(copy()), "arm64: nobody signed it");

    const struct {
        Rehearsal::IdentityOptions options;
        const char* rule;
    } identities[] = {
        {{.leaf = {.marker = false}},
         "arm64: the signer's certificate is not one for applications outside of a store"},
        {{.authority = {.marker = false}},
         "arm64: the signer's certificate is not from the authority for Developer IDs"},
        {{.leafIssuedByRoot = true},
         "arm64: the signer's certificate is not from the authority for Developer IDs"},
    };

    for (const auto& [options, rule] : identities) {
        Rehearsal::BundleOptions signing;
        signing.nestedRequirement = "always"; // the maker's own asks for the markers as well
        signing.code.cms.embedAuthority = !options.leafIssuedByRoot;
        EXPECT_EQ(refusal(signedBundle(signing, identity().reissued(options))), rule);
    }
}

TEST_F(ExecutionPolicyTest, itHasATimeStamp) {
    Rehearsal::BundleOptions options;
    options.code.cms.timeStamp = false;
    EXPECT_EQ(refusal(signedBundle(options)), "arm64: the signature has no time stamp");
}

TEST_F(ExecutionPolicyTest, itAsksForTheHardenedRuntime) {
    Rehearsal::BundleOptions options;
    options.code.hardenedRuntime = false;
    EXPECT_EQ(refusal(signedBundle(options)), "arm64: it does not ask for the hardened runtime");
}

TEST_F(ExecutionPolicyTest, itsTicketListsIt) {
    const std::string ticket = "Contents/CodeResources: ";
    const fs::path bundle = signedBundle();
    const auto required = [&] { return refusal(bundle, StapledTicket::required); };
    EXPECT_EQ(required(), ticket + "there is no stapled ticket");

    Rehearsal::stapleTicket(bundle, identity());
    EXPECT_EQ(required(), "");

    const fs::path file = bundle / "Contents/CodeResources";
    const std::string good = Testing::readFile(file);
    Testing::flipByte(file, good.size() / 2);
    EXPECT_NE(required(), "");
    EXPECT_EQ(refusal(bundle), ""); // nobody asked
    addFile(file, good.substr(0, good.size() - 1));
    EXPECT_NE(required(), "");

    addFile(directory / "ticket", good);
    fs::remove(file);
    fs::create_symlink(directory / "ticket", file);
    EXPECT_EQ(required(), ticket.substr(0, ticket.size() - 1) + " leads out of the bundle");
}

TEST_F(ExecutionPolicyTest, aTicketIsForOneApplication) {
    constexpr const char* another = "Contents/CodeResources: the ticket is not for this application";
    const fs::path bundle = signedBundle();
    const auto slices = Rehearsal::readSignedMachO(bundle / "Contents/MacOS/Kavio").slices;
    Rehearsal::TicketOptions options;
    options.entries.emplace(); // nothing
    Rehearsal::stapleTicket(bundle, identity(), options);
    EXPECT_EQ(refusal(bundle, StapledTicket::required), another);
    // One slice of two; then both, but by another hash.
    options.entries = {{.type = Rehearsal::SignatureHash::sha256, .hash = slices.at(0).at(0).hash}};
    Rehearsal::stapleTicket(bundle, identity(), options);
    EXPECT_EQ(refusal(bundle, StapledTicket::required), another);
    options.entries = {{.type = Rehearsal::SignatureHash::sha1, .hash = slices.at(0).at(0).hash},
                       {.type = Rehearsal::SignatureHash::sha1, .hash = slices.at(1).at(0).hash}};
    Rehearsal::stapleTicket(bundle, identity(), options);
    EXPECT_EQ(refusal(bundle, StapledTicket::required), another);
}

TEST_F(ExecutionPolicyTest, linksStayInTheBundle) {
    // Each from Contents/Resources. A step up behind a step down may lead anywhere once links are on the way.
    const std::pair<const char*, bool> links[] = {{"Kavio.txt", true},
                                                  {"../Resources", true},
                                                  {"../../Contents", true},
                                                  {"./Kavio.txt", true},
                                                  {".././../Contents", true},
                                                  {"missing", true},
                                                  {"..", true},
                                                  {"../..", true},
                                                  {"../../..", false},
                                                  {"/etc/passwd", false},
                                                  {"../../../Kavio.app", false},
                                                  {"en.lproj/../Kavio.txt", false},
                                                  {"en.lproj/../../../..", false},
                                                  {"../../../../etc/passwd", false},
                                                  {"//etc", false},
                                                  {"./../../../x", false},
                                                  {"...", true},
                                                  {"..a/..b", true}};
    for (const auto& [target, isInside] : links) {
        const fs::path bundle = unsignedCopy();
        fs::create_symlink(target, bundle / "Contents/Resources/link");
        Rehearsal::signBundle(bundle, &identity());
        EXPECT_EQ(refusal(bundle), isInside ? "" : "Contents/Resources/link: leads out of the bundle")
            << target;
        fs::remove_all(bundle);
    }
}

TEST_F(ExecutionPolicyTest, linksAtTheTopAreInTheBundleToo) {
    const fs::path bundle = signedBundle();
    fs::create_symlink("..", bundle / "up");
    EXPECT_EQ(refusal(bundle), "up: leads out of the bundle");
}

TEST_F(ExecutionPolicyTest, noFileChangesItsUserOrGroup) {
    constexpr const char* rule =
        "Contents/Helpers/KavioHelper: runs as another user or group than its caller";
    const fs::path bundle = signedBundle();
    const fs::path helper = bundle / "Contents/Helpers/KavioHelper";
    ASSERT_EQ(::chmod(helper.c_str(), 04755), 0);
    EXPECT_EQ(refusal(bundle), rule);
    ASSERT_EQ(::chmod(helper.c_str(), 02755), 0);
    EXPECT_EQ(refusal(bundle), rule);
    ASSERT_EQ(::chmod(helper.c_str(), 01755), 0);
    EXPECT_EQ(refusal(bundle), "");
    ASSERT_EQ(::chmod((bundle / "Contents/Helpers").c_str(), 02755), 0); // as some directories pass it on
    EXPECT_EQ(refusal(bundle), "");
}

// Also where validity does not look.
TEST_F(ExecutionPolicyTest, onlyFilesDirectoriesAndLinksAreThere) {
    const fs::path bundle = signedBundle();
    const fs::path place = bundle / "Contents/_MASReceipt/entry";
    fs::create_directory(place.parent_path());
    for (const TrapKind kind : {TrapKind::fifo, TrapKind::socket}) {
        const Testing::Trap trap(place, kind);
        EXPECT_EQ(refusal(bundle),
                  "Contents/_MASReceipt/entry: is neither a file nor a directory nor a link");
        trap.expectUntouched();
        fs::remove(place);
    }
    fs::create_symlink("/etc/passwd", place);
    EXPECT_EQ(refusal(bundle), "Contents/_MASReceipt/entry: leads out of the bundle");
}

TEST_F(ExecutionPolicyTest, directoriesHaveADeepestLevel) {
    const fs::path bundle = signedBundle();
    fs::path folder = bundle;
    std::string place;
    for (int level = 0; level < 257; ++level) {
        folder /= "d";
        place += "d/";
    }
    fs::create_directories(folder);
    EXPECT_EQ(refusal(bundle), place + ": lies too deep");
}

} // namespace

} // namespace InstallerCore::CodeSign
