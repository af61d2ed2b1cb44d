#include "rehearsal/SampleSignature.h"
#include "rehearsal/signing/TicketMaker.h"
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

class SpctlTest : public Testing::BundleFixture {
protected:
    [[nodiscard]] static ToolRun spctl(const std::vector<std::string>& arguments) {
        return Testing::runTool(SPCTL_PROGRAM, arguments);
    }

    [[nodiscard]] static ToolRun assess(const fs::path& bundle) {
        return spctl({"--assess", "--type", "execute", bundle.string()});
    }

    static void expectRejected(const fs::path& bundle, const std::string& reason) {
        const ToolRun run = assess(bundle);
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, bundle.string() + ": rejected: " + reason + "\n");
    }

    [[nodiscard]] fs::path sampleRelease() {
        const fs::path bundle = unsignedCopy();
        Rehearsal::signSampleApplication(bundle);
        return bundle;
    }
};

TEST_F(SpctlTest, acceptsTheSampleReleaseOfItsBuild) {
    const ToolRun run = assess(sampleRelease());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
}

TEST_F(SpctlTest, saysInOneLineWhyItRejects) {
    expectRejected(copy(), "arm64: nobody signed it");
    expectRejected(directory / "missing", "is no application");
    const fs::path bundle = sampleRelease();
    Testing::addFile(bundle / "Contents/Resources/a\nb");
    expectRejected(bundle, "Contents/Resources/a?b: is there, and not sealed");
}

TEST_F(SpctlTest, asksForATicketWhenTheBuildDoes) {
    const fs::path bundle = sampleRelease();
    fs::remove(bundle / "Contents/CodeResources");
    if (SPCTL_REQUIRES_TICKET) {
        expectRejected(bundle, "Contents/CodeResources: there is no stapled ticket");
    } else {
        EXPECT_EQ(assess(bundle).status, 0);
    }
}

TEST_F(SpctlTest, keepsNoVerdict) {
    const fs::path bundle = sampleRelease();
    EXPECT_EQ(assess(bundle).status, 0);
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    EXPECT_EQ(assess(bundle).status, 3);
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    EXPECT_EQ(assess(bundle).status, 0);
}

TEST_F(SpctlTest, anotherCommandLineIsRefused) {
    const std::string bundle = copy();
    const std::vector<std::vector<std::string>> lines = {
        {},
        {bundle},
        {"--assess", bundle},
        {"--assess", "--type", "execute"},
        {"--assess", "--type", "install", bundle},
        {"--type", "execute", "--assess", bundle},
        {"--assess", "--type", "execute", bundle, bundle},
        {"--assess", "--verbose", "--type", "execute", bundle},
    };
    for (const std::vector<std::string>& line : lines) {
        const ToolRun run = spctl(line);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.errors, "usage: spctl --assess --type execute APPLICATION\n");
    }
}

} // namespace

} // namespace InstallerCore
