#include "rehearsal/SampleImage.h"

#include "tests/rehearsal/DescribeTree.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using ::testing::IsEmpty;

const SampleApplicationOptions application{.version = "1.4.2", .payloadFiles = 20, .payloadBytes = 3'000'000};

class SampleImageTest : public ::testing::Test {
protected:
    [[nodiscard]] std::filesystem::path image() const { return directory_ / "Kavio.dmg"; }

    // What another reader extracts from the image.
    [[nodiscard]] std::filesystem::path extract() const {
        std::filesystem::remove_all(directory_ / "out");
        (void)outputOf("/usr/bin/7zz", {"t", "-bd", image()});
        (void)outputOf("/usr/bin/7zz", {"x", "-bd", "-snld", "-o" + (directory_ / "out").string(), image()});
        return directory_ / "out";
    }

    [[nodiscard]] std::size_t entries() const {
        const std::filesystem::directory_iterator all(directory_.path());
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    TemporaryDirectory directory_;
};

TEST_F(SampleImageTest, AnotherReaderExtractsTheApplicationFromEveryKindOfImage) {
    std::filesystem::create_directory(directory_ / "plain");
    const auto expected = describeTree(makeSampleApplication(application, directory_ / "plain"));
    for (const UdifCompression compression :
         {UdifCompression::raw, UdifCompression::zlib, UdifCompression::bzip2, UdifCompression::lzma}) {
        SCOPED_TRACE(static_cast<int>(compression));
        makeSampleImage(application, image(), {.container = {.compression = compression}});
        EXPECT_THAT(differences(describeTree(extract() / "Kavio/Kavio.app"), expected), IsEmpty());
    }
}

TEST_F(SampleImageTest, TheLinkToApplicationsIsThereUnlessLeftOut) {
    makeSampleImage({.small = true}, image());
    EXPECT_TRUE(std::filesystem::is_symlink(extract() / "Kavio/Applications"));
    makeSampleImage({.small = true}, image(), {.linkToApplications = false});
    EXPECT_FALSE(std::filesystem::is_symlink(extract() / "Kavio/Applications"));
}

TEST_F(SampleImageTest, TheVolumeHasItsNameAndWhatTheCallerArranged) {
    makeSampleImage({.small = true}, image(), {.volumeName = "Another Name", .arrange = [](const auto& tree) {
                                                   writeFile(tree / "Kavio.app/Contents/added", "more");
                                               }});
    EXPECT_EQ(readFile(extract() / "Another Name/Kavio.app/Contents/added"), "more");
}

TEST_F(SampleImageTest, TheSameOptionsGiveTheSameBytesAndLeaveNothingElse) {
    makeSampleImage(application, image());
    const std::string first = readFile(image());
    makeSampleImage(application, image());
    EXPECT_TRUE(readFile(image()) == first);
    EXPECT_EQ(entries(), 1U);
}

TEST_F(SampleImageTest, AFailureLeavesNothing) {
    EXPECT_THROW(makeSampleImage({.architectures = {"ppc"}}, image()), std::runtime_error);
    EXPECT_THROW(packImage(directory_ / "missing", image()), std::runtime_error);
    EXPECT_THROW(makeSampleImage({.small = true}, image(), {.container = {.runSectors = 0}}),
                 std::runtime_error);
    EXPECT_EQ(entries(), 0U);
}

} // namespace

} // namespace InstallerCore
