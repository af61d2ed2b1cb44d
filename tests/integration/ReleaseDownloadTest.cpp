#include "InstallerCore/feed/UpdateFeed.h"
#include "InstallerCore/support/Base64.h"
#include "rehearsal/ReleaseServer.h"
#include "tests/integration/ReleaseFixture.h"
#include "tests/support/Expect.h"

#include <gmock/gmock.h>

namespace InstallerCore {

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using ::testing::SizeIs;

constexpr std::size_t imageSize = 3'000'000;

// A release served by nginx, by HTTP/1.1 and by HTTP/2.
class ReleaseDownloadTest : public Testing::ReleaseFixture, public ::testing::WithParamInterface<bool> {
public:
    ReleaseDownloadTest() {
        std::string large;
        while (large.size() < imageSize) {
            large += content() + std::to_string(large.size());
        }
        large.resize(imageSize);
        setContent(large);
        std::filesystem::create_directories(documents / "desktop/mac");
        Testing::writeFile(image, content());
    }

    // Starts the server with the directives.
    void serve(const std::string& locations = "") { serve(authority.issue(config.allowedHosts), locations); }

    void serve(Rehearsal::ServerCertificate certificate, const std::string& locations = "") {
        const auto directory = test.home / "nginx";
        std::filesystem::create_directory(directory);
        server = std::make_unique<Rehearsal::ReleaseServer>(
            Rehearsal::ReleaseServer::Options{.directory = directory,
                                              .documentRoot = documents,
                                              .certificate = std::move(certificate),
                                              .http2 = GetParam(),
                                              .locations = locations});
        serveFrom(server->port());
    }

    // How the server's log tells of a request.
    [[nodiscard]] std::string logged(const std::string& path, const std::string& rest) const {
        return "GET " + path + (GetParam() ? " HTTP/2.0 " : " HTTP/1.1 ") + rest;
    }

    [[nodiscard]] std::string loggedImage(const std::string& rest) const {
        return logged("/desktop/mac/Kavio-1.4.2.dmg", rest);
    }

    // The entity tag under which the server has the image now.
    [[nodiscard]] std::string currentTag() {
        download();
        const std::string tag = storedValidator();
        EXPECT_FALSE(tag.empty());
        std::filesystem::remove(file);
        std::filesystem::remove(sidecar);
        return tag;
    }

    std::filesystem::path documents = test.home / "documents";
    std::filesystem::path image = documents / "desktop/mac/Kavio-1.4.2.dmg";
    std::unique_ptr<Rehearsal::ReleaseServer> server;
};

TEST_P(ReleaseDownloadTest, FeedIsFetchedAndRead) {
    std::string hash;
    const auto digest = test.digests.sha512();
    digest->update(asBytes(content()));
    const auto bytes = digest->finish();
    hash = encodeBase64(bytes);
    Testing::writeFile(documents / "desktop/mac/latest-mac.yml",
                       "version: 1.4.2\nfiles:\n"
                       "  - url: Kavio-1.4.2.dmg\n    sha512: " +
                           hash + "\n    size: " + std::to_string(imageSize) + "\n");
    serve();
    const std::string feed = manifest();
    const Artifact found = readUpdateFeed(asBytes(feed), config).artifact("x64");
    EXPECT_EQ(found.sha512, artifact.sha512);
    EXPECT_EQ(found.url, artifact.url);
    EXPECT_EQ(found.sizeBytes, artifact.sizeBytes);
    EXPECT_THAT(server->stop(), ElementsAre(logged("/desktop/mac/latest-mac.yml", "200 [] []")));
}

TEST_P(ReleaseDownloadTest, ImageIsDownloadedWhole) {
    serve();
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(Testing::permissionsOf(file), 0600U);
    EXPECT_EQ(Testing::permissionsOf(sidecar), 0600U);
    EXPECT_GT(reports.size(), 1U);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), artifact.sizeBytes);
    expectWaits(std::chrono::seconds(0));
    reports.clear();
    download(); // of what is there already
    EXPECT_TRUE(reports.empty());
    EXPECT_THAT(server->stop(), ElementsAre(loggedImage("200 [] []")));
}

TEST_P(ReleaseDownloadTest, PartialFileIsResumedUnderItsTag) {
    serve();
    const std::string tag = currentTag();
    plant(part(0, 1'000'000), tag.c_str());
    reports.clear();
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), tag);
    EXPECT_GT(reports.front(), 1'000'000);
    EXPECT_THAT(server->stop(),
                ElementsAre(loggedImage("200 [] []"), loggedImage("206 [bytes=1000000-] [" + tag + "]")));
}

TEST_P(ReleaseDownloadTest, PartialFileWithoutATagIsResumed) {
    plant(part(0, imageSize - 1));
    serve();
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_THAT(server->stop(), ElementsAre(loggedImage("206 [bytes=2999999-] []")));
}

TEST_P(ReleaseDownloadTest, ImageThatChangedIsDownloadedFromTheStart) {
    const std::string release = content();
    Testing::writeFile(image, "an earlier image");
    serve();
    artifact.sizeBytes = 16;
    transfer();
    const std::string tag = storedValidator();
    artifact.sizeBytes = imageSize;
    Testing::writeFile(image, release);
    download();
    EXPECT_EQ(onDisk(), release);
    EXPECT_NE(storedValidator(), tag);
    EXPECT_THAT(server->stop(),
                ElementsAre(loggedImage("200 [] []"), loggedImage("200 [bytes=16-] [" + tag + "]")));
}

// The server's image is smaller than what is on disk: the first 416 starts over at once, a later one ends it.
TEST_P(ReleaseDownloadTest, RangeThatCannotBeSatisfiedIsDroppedOnce) {
    Testing::writeFile(image, part(0, 2000));
    plant(part(0, 2500));
    serve();
    expectInstallerError("HTTP 416", [&] { download(); });
    expectWaits(std::chrono::seconds(2));
    EXPECT_EQ(onDisk(), part(0, 2000));
    const std::string tag = storedValidator();
    EXPECT_THAT(server->stop(), ElementsAre(loggedImage("416 [bytes=2500-] []"), loggedImage("200 [] []"),
                                            loggedImage("416 [bytes=2000-] [" + tag + "]")));
}

TEST_P(ReleaseDownloadTest, PartialFileOfTheFullSizeWithOtherBytesIsDiscarded) {
    plant(std::string(imageSize, 'x'), "\"old\"");
    serve();
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_THAT(server->stop(), ElementsAre(loggedImage("200 [] []")));
}

TEST_P(ReleaseDownloadTest, MissingImageIsNotAskedForAgain) {
    std::filesystem::remove(image);
    serve();
    expectInstallerError("HTTP 404", [&] { download(); });
    expectInstallerError("HTTP 404", [&] { static_cast<void>(manifest()); });
    expectWaits(std::chrono::seconds(0));
    EXPECT_EQ(onDisk(), "");
    EXPECT_THAT(server->stop(), SizeIs(2));
}

TEST_P(ReleaseDownloadTest, ForbiddenImageIsNotAskedForAgain) {
    plant(part(0, 1000), "\"v1\"");
    serve("location / { return 403; }");
    expectInstallerError("HTTP 403", [&] { download(); });
    expectWaits(std::chrono::seconds(0));
    EXPECT_EQ(onDisk(), part(0, 1000));
    EXPECT_EQ(storedValidator(), "\"v1\"");
    EXPECT_THAT(server->stop(), SizeIs(1));
}

TEST_P(ReleaseDownloadTest, BusyServerIsAskedFourTimes) {
    plant(part(0, 1000));
    serve("location / { return 503; }");
    expectInstallerError("HTTP 503", [&] { download(); });
    expectWaits(std::chrono::seconds(1 + 2 + 4));
    EXPECT_EQ(onDisk(), part(0, 1000));
    const auto requests = server->stop();
    EXPECT_THAT(requests, SizeIs(4));
    EXPECT_THAT(requests, Each(loggedImage("503 [bytes=1000-] []")));
}

TEST_P(ReleaseDownloadTest, BusyServerIsAskedOnceForTheFeed) {
    serve("location / { return 503; }");
    expectInstallerError("HTTP 503", [&] { static_cast<void>(manifest()); });
    EXPECT_THAT(server->stop(), SizeIs(1));
}

TEST_P(ReleaseDownloadTest, RedirectToAllowedHostIsFollowedWithTheRange) {
    serve("location = /desktop/mac/Kavio-1.4.2.dmg {"
          "  if ($host = dist.test) { return 302 https://mykavio.test/desktop/mac/Kavio-1.4.2.dmg; } }");
    const std::string tag = currentTag();
    plant(part(0, 1000), tag.c_str());
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_THAT(server->stop(), ElementsAre(loggedImage("302 [] []"), loggedImage("200 [] []"),
                                            loggedImage("302 [bytes=1000-] [" + tag + "]"),
                                            loggedImage("206 [bytes=1000-] [" + tag + "]")));
}

TEST_P(ReleaseDownloadTest, RedirectToForeignHostIsNotFollowed) {
    plant(part(0, 1000));
    for (const char* target : {"https://evil.test/x", "http://dist.test/x", "https://dist.test:8443/x",
                               "https://DIST.test/x", "https://user@dist.test/x", "https://dist.test/x#y"}) {
        serve(std::string("location / { return 307 \"") + target + "\"; }");
        expectInstallerError("HTTP 307", [&] { static_cast<void>(manifest()); });
        EXPECT_THAT(server->stop(), ElementsAre(EndsWith("307 [] []"))) << target;
        std::filesystem::remove_all(test.home / "nginx");
    }
    serve("location / { return 307 https://evil.test/x; }");
    expectInstallerError("HTTP 307", [&] { download(); });
    EXPECT_EQ(onDisk(), part(0, 1000));
    EXPECT_THAT(server->stop(), SizeIs(4)); // as a passing fault
}

TEST_P(ReleaseDownloadTest, ServerThatCannotBeTrustedWritesNothing) {
    const Rehearsal::CertificateAuthority stranger;
    const auto hour = std::chrono::hours(1);
    const Rehearsal::ServerCertificate certificates[] = {
        stranger.issue(config.allowedHosts),
        authority.issue({"evil.test"}),
        authority.issue(config.allowedHosts, {.begin = -2 * hour, .end = -hour}),
    };
    for (const auto& certificate : certificates) {
        serve(certificate);
        expectPlatformError(UrlErrorCode::certificateRejected, [&] { static_cast<void>(manifest()); });
        expectPlatformError(UrlErrorCode::certificateRejected, [&] { transfer(); });
        EXPECT_EQ(onDisk(), "");
        EXPECT_FALSE(std::filesystem::exists(sidecar));
        EXPECT_TRUE(reports.empty());
        EXPECT_TRUE(server->stop().empty());
        std::filesystem::remove_all(test.home / "nginx");
    }
}

TEST_P(ReleaseDownloadTest, CancelKeepsWhatCameAndTheNextRunResumes) {
    serve();
    onProgress = [&](std::int64_t) { cancellation->cancel(); };
    expectInstallerError("Download paused. Open the installer again to resume.", [&] { download(); });
    const std::string kept = onDisk();
    EXPECT_EQ(reports, std::vector<std::int64_t>{std::ssize(kept)});
    EXPECT_EQ(kept, part(0, kept.size()));
    const std::string tag = storedValidator();

    cancellation = std::make_shared<Cancellation>();
    onProgress = nullptr;
    download();
    EXPECT_EQ(onDisk(), content());
    const auto requests = server->stop();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_EQ(requests.back(), loggedImage("206 [bytes=" + std::to_string(kept.size()) + "-] [" + tag + "]"));
}

INSTANTIATE_TEST_SUITE_P(, ReleaseDownloadTest, ::testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Http2" : "Http11"; });

} // namespace

} // namespace InstallerCore
