#include "tests/integration/ScriptedReleaseFixture.h"
#include "tests/support/Expect.h"

#include <sys/stat.h>

namespace InstallerCore {

namespace {

using namespace std::string_literals;
using Testing::expectInstallerError;
using Testing::ScriptedPeer;

class ResumeTest : public Testing::ScriptedReleaseFixture {};

// Each 206 whose header does not say that the rest of this very image follows, and how often it is asked for:
// a text with the word "range" is final, "Invalid Content-Range" does not have that word.
TEST_F(ResumeTest, WrongContentRangeWritesNothing) {
    const std::string mismatch = "Invalid resumed range: expected offset 1000, total 5000, got ";

    const struct {
        std::string header;
        std::string text;
        int requests;
    } cases[] = {
        {"", "Invalid Content-Range", 4},
        {"Content-Range: \r\n", "Invalid Content-Range", 4},
        {"Content-Range: Bytes 1000-4999/5000\r\n", "Invalid Content-Range", 4},
        {"Content-Range: bytes=1000-4999/5000\r\n", "Invalid Content-Range", 4},
        {"Content-Range: bytes\t1000-4999/5000\r\n", "Invalid Content-Range", 4},
        {"Content-Range: bytes 0-4999/5000\r\n", mismatch + "bytes 0-4999/5000", 1},
        {"Content-Range: bytes 1001-4999/5000\r\n", mismatch + "bytes 1001-4999/5000", 1},
        {"Content-Range: bytes -4999/5000\r\n", mismatch + "bytes -4999/5000", 1},
        {"Content-Range: bytes 1000-4999/6000\r\n", mismatch + "bytes 1000-4999/6000", 1},
        {"Content-Range: bytes 1000-4999/*\r\n", mismatch + "bytes 1000-4999/*", 1},
        {"Content-Range: bytes */5000\r\n", mismatch + "bytes */5000", 1},
        {"Content-Range: bytes 1000-4999\r\n", mismatch + "bytes 1000-4999", 1},
        {"Content-Range: bytes 4294968296-4999/5000\r\n", mismatch + "bytes 4294968296-4999/5000", 1},
        {"Content-Range: bytes 1000-x/5000\r\n", "Invalid range end", 1},
        {"Content-Range: bytes 1000-4998/5000\r\n", "Incomplete response range", 1},
        {"Content-Range: bytes 1000-5000/5000\r\n", "Incomplete response range", 1},
        {"Content-Range: bytes 1000-4999/5000\r\nContent-Range: bytes 1000-4999/5000\r\n",
         mismatch + "bytes 1000-4999/5000, bytes 1000-4999/5000", 1},
        {"Content-Type: multipart/byteranges; boundary=x\r\n", "Invalid Content-Range", 4},
    };

    for (const auto& [header, text, requests] : cases) {
        plant(part(0, 1000), "\"v1\"");
        const std::string answer =
            "HTTP/1.1 206 Partial Content\r\nETag: \"v2\"\r\nContent-Length: 4000\r\n" + header + "\r\n" +
            part(1000);
        for (int i = 0; i < requests; ++i) {
            expect({"Range: bytes=1000-", "If-Range: \"v1\""}, {}, answer);
        }
        const std::size_t before = server.requests().size();
        expectInstallerError(text, [&] { download(); });
        EXPECT_EQ(server.requests().size() - before, static_cast<std::size_t>(requests)) << header;
        EXPECT_EQ(onDisk(), part(0, 1000)) << header;
        EXPECT_EQ(storedValidator(), "\"v1\"") << header;
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(ResumeTest, DoubledSeparatorsAreReadAsOne) {
    plant(part(0, 1000));
    expect({}, {},
           "HTTP/1.1 206 OK\r\nContent-Range: bytes 1000--4999//5000\r\nContent-Length: 4000\r\n\r\n" +
               part(1000));
    download();
    EXPECT_EQ(onDisk(), content());
}

TEST_F(ResumeTest, FreshDownloadMayBeAnsweredByItsWholeRange) {
    expect({"Accept-Encoding: identity"}, {"Range", "If-Range"}, partialResponse(0));
    download();
    EXPECT_EQ(onDisk(), content());
}

TEST_F(ResumeTest, TagOfEachAnswerIsTheValidatorOfTheNextRequest) {
    plant(part(0, 1000), "\"v1\"");
    server.expect({.lines = {"Range: bytes=1000-", "If-Range: \"v1\""}, .answer = [&](ScriptedPeer& peer) {
                       peer.send(partialHeader(1000, "ETag: \"v2\"\r\n") + part(1000, 2000));
                       peer.close();
                   }});
    server.expect({.lines = {"Range: bytes=2000-", "If-Range: \"v2\""}, .answer = [&](ScriptedPeer& peer) {
                       peer.send(partialHeader(2000, "ETag: W/\"weak\"\r\n") + part(2000, 3000));
                       peer.close();
                   }});
    server.expect(
        {.lines = {"Range: bytes=3000-", "If-Range: W/\"weak\""}, .answer = [&](ScriptedPeer& peer) {
             peer.send(partialHeader(3000) + part(3000, 4000)); // none
             peer.close();
         }});
    expect({"Range: bytes=4000-"}, {"If-Range"}, partialResponse(4000));
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), "");
    expectWaits(std::chrono::seconds(1 + 2 + 4));
}

TEST_F(ResumeTest, ChangedImageIsWrittenFromTheStart) {
    plant(std::string(4900, 'x'), "\"v0\"");
    expect({"Range: bytes=4900-", "If-Range: \"v0\""}, {}, wholeResponse());
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), "\"v1\"");
}

// The server lies about the tag: the bytes on disk are of another image.
TEST_F(ResumeTest, SameTagWithOtherBytesIsFoundByTheHash) {
    plant(std::string(1000, 'x'), "\"v1\"");
    expect({"If-Range: \"v1\""}, {}, partialResponse(1000, "ETag: \"v1\"\r\n"));
    expectInstallerError("Downloaded file hash mismatch", [&] { download(); });
    EXPECT_FALSE(std::filesystem::exists(file));
    expectWaits(std::chrono::seconds(0));
}

TEST_F(ResumeTest, SidecarNeverBecomesMoreThanOneHeader) {
    for (const std::string& tag : {"\"v1\"\r\nCookie: a=b"s, "\"v1\"\nCookie: a=b"s, "\"v1\"\rCookie: a=b"s,
                                   "\r\n\r\nGET /x HTTP/1.1"s, "\"v\0\""s, "\r\n"s}) {
        plant(part(0, 1000));
        Testing::writeFile(sidecar, tag);
        expect({"Range: bytes=1000-"}, {"If-Range", "Cookie"}, partialResponse(1000));
        download();
        EXPECT_EQ(onDisk(), content());
        std::filesystem::remove(file);
    }
}

TEST_F(ResumeTest, RedirectThenRange) {
    plant(part(0, 1000), "\"v1\"");
    const std::vector<std::string> lines = {"Range: bytes=1000-", "If-Range: \"v1\"",
                                            "Accept-Encoding: identity"};
    expect(lines, {},
           "HTTP/1.1 302 Found\r\nLocation: https://mykavio.test/x\r\nETag: \"redirect\"\r\n"
           "Content-Range: bytes 0-1/2\r\nContent-Length: 5\r\n\r\nmoved");
    expect(lines, {}, partialResponse(1000));
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(storedValidator(), "");
}

TEST_F(ResumeTest, UnusablePartialFileIsDroppedAndAskedForWholeAtOnce) {
    plant(part(0, 1000), "\"v1\"");
    expect({"Range: bytes=1000-"}, {},
           "HTTP/1.1 416 No\r\nContent-Range: bytes */900\r\nContent-Length: 0\r\n\r\n");
    expect({}, {"Range", "If-Range"}, wholeResponse());
    download();
    EXPECT_EQ(onDisk(), content());
    expectWaits(std::chrono::seconds(0));
}

TEST_F(ResumeTest, EachRetryResumesWhereTheLastStopped) {
    for (const std::size_t offset : {0U, 1000U, 2000U}) {
        const std::vector<std::string> lines =
            offset == 0 ? std::vector<std::string>()
                        : std::vector{"Range: bytes=" + std::to_string(offset) + "-"};
        server.expect({.lines = lines, .answer = [this, offset](ScriptedPeer& peer) {
                           peer.send(offset == 0 ? wholeHeader("") : partialHeader(offset));
                           peer.send(part(offset, offset + 1000));
                           peer.stall(); // until that has been taken
                           peer.reset();
                       }});
    }
    onProgress = [&](std::int64_t received) {
        if (received % 1000 == 0 && received < 4000) {
            server.release();
        }
    };
    expect({"Range: bytes=3000-"}, {}, partialResponse(3000));
    download();
    EXPECT_EQ(onDisk(), content());
    expectWaits(std::chrono::seconds(1 + 2 + 4));
}

TEST_F(ResumeTest, FourthLossIsTheLast) {
    for (int i = 0; i < 4; ++i) {
        server.expect({.answer = [](ScriptedPeer& peer) { peer.reset(); }});
    }
    Testing::expectPlatformError(UrlErrorCode::connectionLost, [&] { download(); });
    expectWaits(std::chrono::seconds(1 + 2 + 4));
}

TEST_F(ResumeTest, SixGigabytesAreResumedAtTheirEnd) {
    constexpr std::int64_t hole = 6'442'450'944;
    plant("", "\"v1\"");
    std::filesystem::resize_file(file, hole); // sparse
    artifact.sizeBytes = hole + 4;
    expect({"Range: bytes=6442450944-", "If-Range: \"v1\""}, {},
           "HTTP/1.1 206 OK\r\nContent-Range: bytes 6442450944-6442450947/6442450948\r\n"
           "Content-Length: 4\r\n\r\ntail");
    transfer();
    EXPECT_EQ(std::filesystem::file_size(file), static_cast<std::uintmax_t>(hole + 4));
    EXPECT_EQ(reports.back(), hole + 4);
}

TEST_F(ResumeTest, LinkInPlaceOfThePartialFileMakesNoRequest) {
    const auto precious = test.home / "precious";
    Testing::writeFile(precious, "precious");
    std::filesystem::create_symlink(precious, file);
    expectInstallerError("Unsafe cache file", [&] { transfer(); });
    expectInstallerError("Unsafe cache file", [&] { download(); });
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(Testing::readFile(precious), "precious");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ResumeTest, FifoInPlaceOfThePartialFileMakesNoRequest) {
    ASSERT_EQ(::mkfifo(file.c_str(), S_IRUSR | S_IWUSR), 0);
    expectInstallerError("Unsafe cache file", [&] { download(); });
    EXPECT_TRUE(server.requests().empty());
}

} // namespace

} // namespace InstallerCore
