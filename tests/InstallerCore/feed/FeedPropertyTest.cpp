#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/InstallerCore/feed/RandomFeed.h"
#include "tests/InstallerCore/feed/StraightFeedReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace InstallerCore {

namespace {

using Testing::RandomFeed;
using Testing::StraightResult;

StraightResult readFeed(const std::string& document, const Config& config) {
    try {
        return readUpdateFeed(asBytes(document), config);
    } catch (const InstallerError& error) {
        return error.errorDescription();
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), ErrorDomain::json) << error.what();
        return std::string(Testing::malformedJson);
    }
}

std::string describe(const StraightResult& result) {
    if (const auto* text = std::get_if<std::string>(&result)) {
        return *text;
    }
    return std::string(asText(std::get<Manifest>(result).encode()));
}

// Control characters, the newlines of Unicode among them, in a form that shows.
std::string visible(const std::string& document) {
    std::string text;
    for (const char c : document) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F) {
            text += c;
        } else {
            text += "\\x" + hexadecimal(asBytes(std::string(1, c))) + (c == '\n' ? "\n" : "");
        }
    }
    return text;
}

TEST(FeedPropertyTest, AgreesWithTheStraightReaderOnRandomDocuments) {
    constexpr int documents = 100'000;
    const Config config{.channelURL = RandomFeed::channelURL, .allowedHosts = {RandomFeed::host}};
    RandomFeed feeds(20'240'501);
    std::map<std::string, int> outcomes;
    for (int i = 0; i < documents; ++i) {
        const std::string document = feeds.next();
        const StraightResult expected = Testing::readFeedStraight(document, config);
        const StraightResult actual = readFeed(document, config);
        ASSERT_TRUE(actual == expected) << "read: " << describe(actual)
                                        << "\nexpected: " << describe(expected) << "\ndocument " << i << ":\n"
                                        << visible(document);
        ++outcomes[std::holds_alternative<Manifest>(expected) ? "(manifest)" : describe(expected)];
    }

    // "Invalid feed field" is missing: no line without a colon gets as far as being split.
    EXPECT_THAT(outcomes,
                testing::UnorderedElementsAre(
                    testing::Key("(manifest)"), testing::Key("(malformed JSON)"),
                    testing::Key("Manifest too large"), testing::Key("Invalid feed encoding"),
                    testing::Key("Duplicate feed field"), testing::Key("Invalid files list"),
                    testing::Key("Unsupported files list"), testing::Key("Invalid YAML scalar"),
                    testing::Key("Unsupported YAML scalar"), testing::Key("Missing release version"),
                    testing::Key("Invalid version"), testing::Key("Invalid download URL"),
                    testing::Key("Untrusted download URL"), testing::Key("Artifact version mismatch"),
                    testing::Key("Duplicate release target"), testing::Key("Invalid artifact size or hash"),
                    testing::Key("No compatible release artifacts")));

    EXPECT_GT(outcomes["(manifest)"], documents / 4);
    for (const auto& [outcome, count] : outcomes) {
        EXPECT_GE(count, 20) << outcome;
    }
}

} // namespace

} // namespace InstallerCore
