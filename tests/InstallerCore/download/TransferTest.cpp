#include "InstallerCore/download/Transfer.h"

#include "tests/InstallerCore/download/DownloadFixture.h"
#include "tests/support/Expect.h"

#include <sys/stat.h>

#include <filesystem>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::headerOf;

constexpr const char* paused = "Download paused. Open the installer again to resume.";

class TransferTest : public Testing::DownloadFixture {
protected:
    [[nodiscard]] Transfer::Options options(std::optional<std::filesystem::path> target,
                                            std::int64_t expected) {
        return {.config = config,
                .file = std::move(target),
                .expected = expected,
                .cancel = cancellation,
                .progress = [this](std::int64_t received, std::int64_t total) {
                    reports.emplace_back(received, total);
                    if (onProgress) {
                        onProgress(received);
                    }
                }};
    }

    Bytes intoFile() {
        Transfer transfer(options(file, size), test.platform);
        return transfer.run(config.url(artifact.url));
    }

    std::string intoMemory(std::int64_t largest = 131'072) {
        Transfer transfer(options(std::nullopt, largest), test.platform);
        return std::string(asText(transfer.run(config.url(config.channelURL))));
    }

    struct FailingRun {
        std::string operation; // that failed; empty when there were not that many
        std::string failure;   // description of the error
        std::string onDisk;
        bool onlyImageAndTag = true;
    };

    // Resumes a download at 1,000 bytes; the call-th operation of the file system finds the disk full.
    FailingRun resumeWithFailure(int call) {
        Testing::TestPlatform fresh;
        const auto image = fresh.home / "image.dmg";
        Testing::writeFile(image, part(0, 1000));
        Testing::writeFile(fresh.home / "image.dmg.etag", "\"v1\"");
        fresh.http.expect({.response = partial(1000), .chunks = {part(1000, 3000), part(3000)}});
        fresh.files.failAtAny(call, FileErrorCode::writeOutOfSpace);
        FailingRun run;
        try {
            Transfer transfer(options(image, size), fresh.platform);
            static_cast<void>(transfer.run(config.url(artifact.url)));
        } catch (const PlatformError& error) {
            run.failure = error.what();
        }
        if (fresh.http.requests().empty()) {
            fresh.http.forgetExpected(); // it failed before it came to that
        }
        const auto calls = fresh.files.calls();
        run.operation = std::cmp_less(calls.size(), call) ? "" : calls[static_cast<std::size_t>(call) - 1];
        run.onDisk = Testing::readFile(image);
        for (const auto& entry : std::filesystem::directory_iterator(fresh.home.path())) {
            run.onlyImageAndTag &= entry.path().filename().string().starts_with("image.dmg");
        }
        return run;
    }

    std::function<void(std::int64_t)> onProgress;
};

TEST_F(TransferTest, MemoryModeReturnsTheBody) {
    test.http.expect({.response = ok(), .chunks = {"version: ", "1.4.2"}});
    EXPECT_EQ(intoMemory(), "version: 1.4.2");
    EXPECT_EQ(lastRequest().url.text(), config.channelURL);
    EXPECT_EQ(headerOf(lastRequest(), "Accept-Encoding"), "identity");
    EXPECT_EQ(headerOf(lastRequest(), "Range"), std::nullopt);
    EXPECT_EQ(reports.back(), std::pair(std::int64_t{14}, std::int64_t{131'072}));
}

TEST_F(TransferTest, MemoryModeTakesNothingButStatus200) {
    for (const int code : {204, 206, 301, 404, 416, 500, 503}) {
        test.http.expect({.response = status(code), .chunks = {"body"}});
        expectInstallerError("HTTP " + std::to_string(code), [&] { return intoMemory(); });
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(TransferTest, MemoryModeStopsBodyThatIsTooLarge) {
    test.http.expect({.response = ok(), .chunks = {std::string(131'072, 'x')}});
    EXPECT_EQ(intoMemory().size(), 131'072U);
    test.http.expect({.response = ok(), .chunks = {std::string(131'072, 'x'), "x"}});
    expectInstallerError("Download exceeds expected size", [&] { return intoMemory(); });
}

TEST_F(TransferTest, FreshDownloadFillsFileAndStoresTag) {
    test.http.expect({.response = ok(), .chunks = {part(0, 2000), part(2000)}});
    EXPECT_TRUE(intoFile().empty());
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), "\"v1\"");
    EXPECT_EQ(Testing::permissionsOf(file), 0600U);
    EXPECT_EQ(Testing::permissionsOf(sidecar), 0600U);
    EXPECT_EQ(headerOf(lastRequest(), "Accept-Encoding"), "identity");
    EXPECT_EQ(headerOf(lastRequest(), "Range"), std::nullopt);
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), std::nullopt);
    const decltype(reports) expected = {{2000, size}, {size, size}};
    EXPECT_EQ(reports, expected);
}

TEST_F(TransferTest, PartialFileIsResumedUnderItsTag) {
    plant(part(0, 1000), "\"v1\"");
    test.http.expect({.response = partial(1000), .chunks = {part(1000, 1010), part(1010)}});
    intoFile();
    EXPECT_EQ(headerOf(lastRequest(), "Range"), "bytes=1000-");
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), "\"v1\"");
    EXPECT_EQ(onDisk(), content());
    const decltype(reports) expected = {{1010, size}, {size, size}};
    EXPECT_EQ(reports, expected);
}

TEST_F(TransferTest, TagIsSentExactlyAsStored) {
    plant(part(0, 1000), "  W/\"weak\" ");
    test.http.expect({.response = partial(1000), .chunks = {part(1000)}});
    intoFile();
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), "  W/\"weak\" ");
}

TEST_F(TransferTest, TagThatWouldBeMoreThanOneHeaderIsNotSent) {
    using namespace std::string_literals;
    for (const std::string& tag : {"\"v1\"\r\nCookie: a=b"s, "\"v1\"\n"s, "\r"s, "\"v\0\""s, "\x7F"s, ""s}) {
        plant(part(0, 1000));
        Testing::writeFile(sidecar, tag);
        test.http.expect({.response = partial(1000), .chunks = {part(1000)}});
        intoFile();
        EXPECT_EQ(headerOf(lastRequest(), "Range"), "bytes=1000-");
        EXPECT_EQ(headerOf(lastRequest(), "If-Range"), std::nullopt);
    }
}

TEST_F(TransferTest, ChangedEntityRestartsFromTheBeginning) {
    plant(std::string(1000, 'x'), "\"v0\"");
    test.http.expect({.response = ok(), .chunks = {part(0)}});
    intoFile();
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), "\"v0\"");
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), "\"v1\"");
}

TEST_F(TransferTest, ResponseWithoutTagLeavesAnEmptySidecar) {
    plant("", "\"v0\"");
    test.http.expect({.response = ok({}), .chunks = {part(0, 10)}});
    expectInstallerError("Incomplete download", [&] { return intoFile(); });
    EXPECT_EQ(storedValidator(), "");
    test.http.expect({.response = partial(10), .chunks = {part(10)}});
    intoFile();
    EXPECT_EQ(headerOf(lastRequest(), "Range"), "bytes=10-");
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), std::nullopt);
}

TEST_F(TransferTest, FileLargerThanExpectedIsEmptiedAndAskedForWhole) {
    plant(content() + "x", "\"v1\"");
    test.http.expect({.response = ok(), .chunks = {content()}});
    intoFile();
    EXPECT_EQ(headerOf(lastRequest(), "Range"), std::nullopt);
    EXPECT_EQ(headerOf(lastRequest(), "If-Range"), std::nullopt);
    EXPECT_EQ(onDisk(), content());
}

TEST_F(TransferTest, FileOfFullSizeIsStillAskedForByRange) {
    plant(content());
    test.http.expect({.response = status(416)});
    expectInstallerError("HTTP 416", [&] { return intoFile(); });
    EXPECT_EQ(headerOf(lastRequest(), "Range"), "bytes=5000-");
    EXPECT_EQ(onDisk(), content());
}

TEST_F(TransferTest, NothingButARegularFileIsEverWrittenTo) {
    const auto target = test.home / "precious";
    Testing::writeFile(target, "precious");
    const std::vector<std::function<void()>> plantings = {
        [&] { std::filesystem::create_symlink("precious", file); },
        [&] { std::filesystem::create_symlink("nowhere", file); },
        [&] { std::filesystem::create_directory(file); },
        [&] { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); },
    };
    for (const auto& plantEntry : plantings) {
        plantEntry();
        expectInstallerError("Unsafe cache file", [&] { return intoFile(); });
        std::filesystem::remove(file);
    }
    EXPECT_TRUE(test.http.requests().empty());
    EXPECT_EQ(Testing::readFile(target), "precious");
    EXPECT_FALSE(std::filesystem::exists(test.home / "nowhere"));
}

TEST_F(TransferTest, LinkSwappedInAfterTheLookIsRefused) {
    const auto target = test.home / "precious";
    Testing::writeFile(target, "precious");
    plant(part(0, 10));
    test.files.before = [&](const std::string& operation, const std::string&) {
        if (operation == "Directory.open") {
            std::filesystem::remove(file);
            std::filesystem::create_symlink("precious", file);
        }
    };
    expectInstallerError("Unsafe cache file", [&] { return intoFile(); });
    EXPECT_TRUE(test.http.requests().empty());
    EXPECT_EQ(Testing::readFile(target), "precious");
}

TEST_F(TransferTest, BadRangesAreRefusedAndKeepTheFile) {
    const std::pair<const char*, const char*> cases[] = {
        {"Bytes 1000-4999/5000", "Invalid Content-Range"},
        {"bytes 0-4999/5000",
         "Invalid resumed range: expected offset 1000, total 5000, got bytes 0-4999/5000"},
        {"bytes 1000-x/5000", "Invalid range end"},
        {"bytes 1000-4998/5000", "Incomplete response range"},
    };
    for (const auto& [header, text] : cases) {
        plant(part(0, 1000), "\"v1\"");
        test.http.expect({.response = HttpResponse{.status = 206, .headers = {{"Content-Range", header}}},
                          .chunks = {part(1000)}});
        expectInstallerError(text, [&] { return intoFile(); });
        EXPECT_EQ(onDisk(), part(0, 1000));
        EXPECT_EQ(storedValidator(), "\"v1\"");
    }
}

TEST_F(TransferTest, RepeatedContentRangeIsNotGuessedAt) {
    plant(part(0, 1000));
    test.http.expect({.response = HttpResponse{.status = 206,
                                               .headers = {{"Content-Range", "bytes 1000-4999/5000"},
                                                           {"Content-Range", "bytes 0-4999/5000"}}}});
    expectInstallerError("Invalid resumed range: expected offset 1000, total 5000, got bytes 1000-4999/5000, "
                         "bytes 0-4999/5000",
                         [&] { return intoFile(); });
}

TEST_F(TransferTest, AnswerThatIsNotHttpIsRefused) {
    test.http.expect({.response = HttpResponse{}});
    expectInstallerError("Invalid HTTP response", [&] { return intoFile(); });
}

TEST_F(TransferTest, ChunkBeyondTheSizeIsNotWritten) {
    test.http.expect({.response = ok(), .chunks = {part(0, 4000), part(4000) + "x", "y"}});
    expectInstallerError("Download exceeds expected size", [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), part(0, 4000));
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(TransferTest, BodyThatEndsEarlyIsIncomplete) {
    test.http.expect({.response = ok(), .chunks = {part(0, 4999)}});
    expectInstallerError("Incomplete download", [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), part(0, 4999));
}

TEST_F(TransferTest, NetworkErrorIsPassedThroughAndKeepsWhatCame) {
    test.http.expect({.response = ok(), .chunks = {part(0, 10)}, .error = UrlErrorCode::connectionLost});
    expectPlatformError(UrlErrorCode::connectionLost, [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), part(0, 10));
    EXPECT_EQ(storedValidator(), "\"v1\"");
}

TEST_F(TransferTest, AllowedRedirectIsFollowed) {
    test.http.expect({.redirects = {"https://dist.test/elsewhere.yml"}, .response = ok(), .chunks = {"x"}});
    EXPECT_EQ(intoMemory(), "x");
}

TEST_F(TransferTest, ForeignRedirectGivesItsOwnStatus) {
    for (const char* address :
         {"https://evil.test/x", "http://dist.test/x", "https://dist.test:8443/x", ""}) {
        test.http.expect({.redirects = {address}, .response = status(302), .chunks = {"moved"}});
        expectInstallerError("HTTP 302", [&] { return intoFile(); });
        test.http.expect({.redirects = {address}, .response = status(307)});
        expectInstallerError("HTTP 307", [&] { return intoMemory(); });
    }
    EXPECT_EQ(onDisk(), "");
}

TEST_F(TransferTest, ForeignRedirectWithoutAnAnswerIsUntrusted) {
    test.http.expect({.redirects = {"https://evil.test/x"}, .error = UrlErrorCode::connectionLost});
    expectInstallerError("Untrusted download URL", [&] { return intoMemory(); });
}

TEST_F(TransferTest, CancelDuringSilenceEndsIt) {
    test.http.expect({.silentUntilCancelled = true, .beforeResponse = [&] { cancellation->cancel(); }});
    expectInstallerError(paused, [&] { return intoMemory(); });
}

TEST_F(TransferTest, CancelIsNoticedInEveryCallAndKeepsTheFile) {
    plant(part(0, 10), "\"v0\"");
    test.http.expect({.response = ok(), .chunks = {"x"}, .beforeResponse = [&] { cancellation->cancel(); }});
    expectInstallerError(paused, [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), part(0, 10));
    EXPECT_EQ(storedValidator(), "\"v0\"");
}

TEST_F(TransferTest, CancelBetweenChunksKeepsWhatCame) {
    onProgress = [&](std::int64_t) { cancellation->cancel(); };
    test.http.expect({.response = ok(), .chunks = {part(0, 10), part(10)}});
    expectInstallerError(paused, [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), part(0, 10));
}

TEST_F(TransferTest, CancelOutranksEveryOtherError) {
    test.http.expect({.response = status(503), .beforeEnd = [&] { cancellation->cancel(); }});
    expectInstallerError(paused, [&] { return intoFile(); });
    cancellation = std::make_shared<Cancellation>();
    test.http.expect({.response = ok(), .chunks = {content()}, .beforeEnd = [&] { cancellation->cancel(); }});
    expectInstallerError(paused, [&] { return intoFile(); });
    EXPECT_EQ(onDisk(), content());
}

TEST_F(TransferTest, ThrowingProgressEndsTheTransfer) {
    onProgress = [](std::int64_t) { throw PlatformError(FileErrorCode::writeUnknown); };
    test.http.expect({.response = ok(), .chunks = {part(0, 10), part(10)}});
    expectPlatformError(FileErrorCode::writeUnknown, [&] { return intoFile(); });
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(TransferTest, OffsetBeyondThirtyTwoBitsIsResumedThere) {
    constexpr std::int64_t hole = 6'442'450'944; // 6 GiB, sparse
    plant("");
    std::filesystem::resize_file(file, hole);
    test.http.expect(
        {.response = HttpResponse{.status = 206,
                                  .headers = {{"Content-Range", "bytes 6442450944-6442450947/6442450948"}}},
         .chunks = {"tail"}});
    Transfer transfer(options(file, hole + 4), test.platform);
    static_cast<void>(transfer.run(config.url(artifact.url)));
    EXPECT_EQ(headerOf(lastRequest(), "Range"), "bytes=6442450944-");
    EXPECT_EQ(std::filesystem::file_size(file), static_cast<std::uintmax_t>(hole + 4));
    EXPECT_EQ(reports.back().first, hole + 4);
}

// Every operation of the file system fails once, wherever a transfer makes it.
TEST_F(TransferTest, EveryFailingFileOperationGivesItsErrorAndKeepsTheFile) {
    std::vector<std::string> silent; // failing operations that the transfer did not need
    std::size_t failing = 0;
    bool allCallsMade = false;
    for (int call = 1; !allCallsMade; ++call) {
        const FailingRun run = resumeWithFailure(call);
        EXPECT_EQ(run.onDisk, part(0, run.onDisk.size())) << run.operation;
        EXPECT_GE(run.onDisk.size(), 1000U) << run.operation;
        EXPECT_TRUE(run.onlyImageAndTag) << run.operation;
        allCallsMade = run.operation.empty();
        if (run.failure.empty()) {
            EXPECT_EQ(run.onDisk, content()) << run.operation;
            silent.push_back(run.operation);
        } else {
            EXPECT_EQ(run.failure, PlatformError(FileErrorCode::writeOutOfSpace).what()) << run.operation;
            ++failing;
        }
    }
    // The file is there already; the stored tag is only a help; after the last call nothing failed at all.
    const std::vector<std::string> expected = {"Directory.createIfMissing", "Directory.open",
                                               "FileHandle.read", "FileHandle.read", ""};
    EXPECT_EQ(silent, expected);
    EXPECT_EQ(failing, 9U); // two opens, two looks at the end and the type, tag, two writes, flush, close
}

TEST_F(TransferTest, PollIntervalIsATenthOfASecond) {
    EXPECT_EQ(Transfer::pollInterval, std::chrono::milliseconds(100));
}

} // namespace

} // namespace InstallerCore
