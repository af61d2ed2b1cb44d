#include "InstallerCore/download/Downloader.h"

#include "tests/InstallerCore/download/DownloadFixture.h"
#include "tests/support/Expect.h"

#include <sys/stat.h>

#include <filesystem>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::FakeExchange;
using Testing::headerOf;

constexpr const char* paused = "Download paused. Open the installer again to resume.";

class DownloaderTest : public Testing::DownloadFixture {
protected:
    void download() {
        Downloader downloader(config, cancellation, nullptr, test.platform);
        downloader.download(artifact, file, [this](std::int64_t received, std::int64_t total) {
            reports.emplace_back(received, total);
        });
    }

    Bytes manifest() {
        const Downloader downloader(config, cancellation, nullptr, test.platform);
        return downloader.manifest();
    }

    [[nodiscard]] FakeExchange whole() const { return {.response = ok(), .chunks = {content()}}; }

    [[nodiscard]] static FakeExchange failing(UrlErrorCode code = UrlErrorCode::connectionLost) {
        return {.error = code};
    }

    void expectTimes(int count, const FakeExchange& exchange) {
        for (int i = 0; i < count; ++i) {
            test.http.expect(exchange);
        }
    }

    // How many steps of a tenth of a second were waited so far.
    [[nodiscard]] std::size_t sleeps() const {
        for (const auto step : test.clock.sleeps()) {
            EXPECT_EQ(step, std::chrono::milliseconds(100));
        }
        return test.clock.sleeps().size();
    }
};

TEST_F(DownloaderTest, ManifestIsTheBodyOfTheChannel) {
    test.http.expect({.response = ok(), .chunks = {"version: 1.4.2\n"}});
    EXPECT_EQ(asText(manifest()), "version: 1.4.2\n");
    EXPECT_EQ(lastRequest().url.text(), config.channelURL);
}

TEST_F(DownloaderTest, ManifestIsTriedOnce) {
    test.http.expect(failing(UrlErrorCode::timedOut));
    expectPlatformError(UrlErrorCode::timedOut, [&] { return manifest(); });
    test.http.expect({.response = status(503)});
    expectInstallerError("HTTP 503", [&] { return manifest(); });
    EXPECT_EQ(sleeps(), 0U);
}

TEST_F(DownloaderTest, ManifestOfMoreThan128KiBIsRefused) {
    test.http.expect({.response = ok(), .chunks = {std::string(131'073, '#')}});
    expectInstallerError("Download exceeds expected size", [&] { return manifest(); });
}

TEST_F(DownloaderTest, UntrustedChannelIsNeverAskedFor) {
    config.channelURL = "http://dist.test/latest-mac.yml";
    expectInstallerError("Untrusted download URL", [&] { return manifest(); });
    EXPECT_TRUE(test.http.requests().empty());
}

TEST_F(DownloaderTest, VerifiedImageNeedsNoNetwork) {
    plant(content());
    download();
    EXPECT_TRUE(test.http.requests().empty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(DownloaderTest, LinkToTheVerifiedImageCounts) {
    Testing::writeFile(test.home / "copy", content());
    std::filesystem::create_symlink("copy", file);
    download();
    EXPECT_TRUE(test.http.requests().empty());
}

TEST_F(DownloaderTest, HashIsComparedAsWritten) {
    plant(content());
    const std::size_t letter = artifact.sha512.find_first_of("abcdef");
    ASSERT_NE(letter, std::string::npos);
    artifact.sha512[letter] = static_cast<char>(artifact.sha512[letter] - 'a' + 'A');
    test.http.expect(whole());
    expectInstallerError("Downloaded file hash mismatch", [&] { download(); });
}

TEST_F(DownloaderTest, FullSizeImageOfWrongHashIsFetchedAfresh) {
    for (const std::size_t length : {5000U, 5001U}) {
        plant(std::string(length, 'x'), "\"v1\"");
        test.http.expect(whole());
        download();
        EXPECT_EQ(headerOf(lastRequest(), "Range"), std::nullopt);
        EXPECT_EQ(onDisk(), content());
        std::filesystem::remove(file);
    }
}

TEST_F(DownloaderTest, UnusableImageThatCannotBeDeletedEndsIt) {
    plant(std::string(size, 'x'));
    test.files.failAt("Directory.remove", 1, FileErrorCode::writeNoPermission);
    expectPlatformError(FileErrorCode::writeNoPermission, [&] { download(); });
    EXPECT_TRUE(test.http.requests().empty());
    EXPECT_EQ(onDisk(), std::string(size, 'x'));
}

TEST_F(DownloaderTest, SizeIsTheEntrysOwnNotALinkTargets) {
    const auto target = test.home / "large";
    Testing::writeFile(target, std::string(size, 'x'));
    std::filesystem::create_symlink("large", file);
    expectInstallerError("Unsafe cache file", [&] { download(); });
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(Testing::readFile(target), std::string(size, 'x'));
    EXPECT_EQ(sleeps(), 70U); // tried again like any other failure
}

TEST_F(DownloaderTest, FifoInPlaceOfTheImageBlocksNothing) {
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    expectInstallerError("Unsafe cache file", [&] { download(); });
}

TEST_F(DownloaderTest, ThreeFailuresThenSuccessWaitsOneTwoAndFourSeconds) {
    test.http.expect({.response = ok(), .chunks = {part(0, 10)}, .error = UrlErrorCode::connectionLost});
    test.http.expect({.response = partial(10), .chunks = {part(10, 20)}, .error = UrlErrorCode::timedOut});
    test.http.expect({.response = partial(20), .chunks = {part(20, 30)}, .error = UrlErrorCode::unknown});
    test.http.expect({.response = partial(30), .chunks = {part(30)}});
    std::vector<std::size_t> requestsAtStep;
    test.clock.onSleep = [&](std::size_t) { requestsAtStep.push_back(test.http.requests().size()); };
    download();
    EXPECT_EQ(onDisk(), content());
    std::vector<std::size_t> expected(10, 1);
    expected.insert(expected.end(), 20, 2);
    expected.insert(expected.end(), 40, 3);
    EXPECT_EQ(requestsAtStep, expected);
    EXPECT_EQ(sleeps(), 70U);
    const auto requests = test.http.requests();
    EXPECT_EQ(headerOf(requests[1], "Range"), "bytes=10-");
    EXPECT_EQ(headerOf(requests[2], "Range"), "bytes=20-");
    EXPECT_EQ(headerOf(requests[3], "Range"), "bytes=30-");
    EXPECT_EQ(headerOf(requests[3], "If-Range"), "\"v1\"");
}

TEST_F(DownloaderTest, FourthFailureIsThrownWithoutAFurtherWait) {
    expectTimes(3, failing());
    test.http.expect(failing(UrlErrorCode::timedOut));
    expectPlatformError(UrlErrorCode::timedOut, [&] { download(); });
    EXPECT_EQ(sleeps(), 70U);
}

TEST_F(DownloaderTest, WhatTryingAgainCannotMendIsThrownAtOnce) {
    for (const int code : {400, 403, 404, 410, 429, 499}) {
        test.http.expect({.response = status(code)});
        expectInstallerError("HTTP " + std::to_string(code), [&] { download(); });
    }
    test.http.expect(
        {.response = HttpResponse{.status = 206, .headers = {{"Content-Range", "bytes 1-2/3"}}}});
    expectInstallerError("Invalid resumed range: expected offset 0, total 5000, got bytes 1-2/3",
                         [&] { download(); });
    test.http.expect(
        {.response = HttpResponse{.status = 206, .headers = {{"Content-Range", "bytes 0-x/5000"}}}});
    expectInstallerError("Invalid range end", [&] { download(); });
    test.http.expect(
        {.response = HttpResponse{.status = 206, .headers = {{"Content-Range", "bytes 0-1/5000"}}}});
    expectInstallerError("Incomplete response range", [&] { download(); });
    EXPECT_EQ(sleeps(), 0U);
    artifact.url = "https://evil.test/Kavio-1.4.2.dmg";
    expectInstallerError("Untrusted download URL", [&] { download(); });
    EXPECT_EQ(sleeps(), 0U);
}

TEST_F(DownloaderTest, EverythingElseIsTriedFourTimes) {
    const std::pair<FakeExchange, const char*> cases[] = {
        {{.response = status(503)}, "HTTP 503"},
        {{.response = status(500)}, "HTTP 500"},
        {{.redirects = {"https://evil.test/x"}, .response = status(302)}, "HTTP 302"},
        // Its capital R keeps it from being one of the range errors.
        {{.response = status(206)}, "Invalid Content-Range"},
        {{.response = HttpResponse{}}, "Invalid HTTP response"},
        {{.response = ok(), .chunks = {std::string(5001, 'x')}}, "Download exceeds expected size"},
        {{.response = ok(), .chunks = {part(0, 10)}}, "Incomplete download"},
    };
    for (const auto& [exchange, text] : cases) {
        const std::size_t before = sleeps();
        expectTimes(4, exchange);
        expectInstallerError(text, [&] { download(); });
        EXPECT_EQ(sleeps() - before, 70U) << text;
        std::filesystem::remove(file);
    }
}

TEST_F(DownloaderTest, DiskFullIsTriedAgainAndKeepsTheFile) {
    plant(part(0, 10));
    expectTimes(4, {.response = partial(10), .chunks = {part(10)}});
    for (const int write : {1, 2, 3, 4}) {
        test.files.failAt("FileHandle.write", write, FileErrorCode::writeOutOfSpace);
    }
    expectPlatformError(FileErrorCode::writeOutOfSpace, [&] { download(); });
    EXPECT_EQ(sleeps(), 70U);
    EXPECT_EQ(onDisk(), part(0, 10));
}

TEST_F(DownloaderTest, MismatchDeletesTheImageAndEndsIt) {
    test.http.expect({.response = ok(), .chunks = {std::string(size, 'x')}});
    expectInstallerError("Downloaded file hash mismatch", [&] { download(); });
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(std::filesystem::exists(sidecar)); // the image alone goes
    EXPECT_EQ(sleeps(), 0U);
}

TEST_F(DownloaderTest, MismatchWhoseDeletionFailsIsClassifiedByThatFailure) {
    test.http.expect({.response = ok(), .chunks = {std::string(size, 'x')}});
    test.http.expect({.response = HttpResponse{.status = 404}});
    test.files.failAt("Directory.remove", 1, FileErrorCode::writeNoPermission);
    expectInstallerError("HTTP 404", [&] { download(); }); // so it was tried again
    EXPECT_EQ(sleeps(), 10U);
}

TEST_F(DownloaderTest, UnsatisfiableRangeStartsOverAtOnce) {
    plant(part(0, 10), "\"v1\"");
    test.http.expect({.response = status(416)});
    test.http.expect(whole());
    download();
    EXPECT_EQ(headerOf(lastRequest(), "Range"), std::nullopt);
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(sleeps(), 0U);
}

TEST_F(DownloaderTest, SecondUnsatisfiableRangeEndsIt) {
    plant(part(0, 10));
    expectTimes(2, {.response = status(416)});
    expectInstallerError("HTTP 416", [&] { download(); });
    EXPECT_EQ(sleeps(), 0U);
}

TEST_F(DownloaderTest, UnsatisfiableRangeAfterAnotherFailureEndsIt) {
    plant(part(0, 10));
    test.http.expect(failing());
    test.http.expect({.response = status(416)});
    expectInstallerError("HTTP 416", [&] { download(); });
    EXPECT_EQ(onDisk(), part(0, 10));
}

TEST_F(DownloaderTest, UnsatisfiableRangeUsesUpOneTry) {
    plant(part(0, 10));
    test.http.expect({.response = status(416)});
    expectTimes(3, failing());
    expectPlatformError(UrlErrorCode::connectionLost, [&] { download(); });
    EXPECT_EQ(sleeps(), 60U); // 2 and 4 seconds
}

TEST_F(DownloaderTest, UnsatisfiableRangeWhoseDeletionFailsEndsIt) {
    plant(part(0, 10));
    test.http.expect({.response = status(416)});
    test.files.failAt("Directory.remove", 1, FileErrorCode::writeNoPermission);
    expectPlatformError(FileErrorCode::writeNoPermission, [&] { download(); });
}

TEST_F(DownloaderTest, CancelBeforeTheFirstTryAsksForNothing) {
    cancellation->cancel();
    expectInstallerError(paused, [&] { download(); });
    EXPECT_TRUE(test.http.requests().empty());
}

TEST_F(DownloaderTest, CancelDuringATryIsPausedWhateverItsError) {
    test.http.expect({.response = status(404), .beforeEnd = [&] { cancellation->cancel(); }});
    expectInstallerError(paused, [&] { download(); });
}

TEST_F(DownloaderTest, CancelWhileHashingKeepsTheImageAndAsksForNothing) {
    plant(content(), "\"v1\"");
    test.files.before = [&](const std::string& operation, const std::string&) {
        if (operation == "FileHandle.read") {
            cancellation->cancel();
        }
    };
    expectInstallerError(paused, [&] { download(); });
    EXPECT_TRUE(test.http.requests().empty());
    EXPECT_EQ(onDisk(), content());
}

TEST_F(DownloaderTest, CancelWhileHashingWhatCameKeepsIt) {
    test.http.expect(whole());
    test.files.before = [&](const std::string& operation, const std::string&) {
        if (operation == "FileHandle.read") {
            cancellation->cancel();
        }
    };
    expectInstallerError(paused, [&] { download(); });
    EXPECT_EQ(onDisk(), content());
}

TEST_F(DownloaderTest, CancelInsideEachStepOfEachWaitEndsIt) {
    for (std::size_t step = 0; step < 70; ++step) {
        cancellation = std::make_shared<Cancellation>();
        const std::size_t before = sleeps();
        expectTimes(4, failing());
        test.clock.onSleep = [&](std::size_t index) {
            if (index - before == step) {
                cancellation->cancel();
            }
        };
        expectInstallerError(paused, [&] { download(); });
        EXPECT_EQ(sleeps() - before, step + 1);
        test.http.forgetExpected();
    }
}

TEST_F(DownloaderTest, ProgressOfAResumeIncludesWhatWasOnDisk) {
    plant(part(0, 4000), "\"v1\"");
    test.http.expect({.response = partial(4000), .chunks = {part(4000)}});
    download();
    const decltype(reports) expected = {{size, size}};
    EXPECT_EQ(reports, expected);
}

} // namespace

} // namespace InstallerCore
