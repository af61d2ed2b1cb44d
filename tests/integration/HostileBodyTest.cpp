#include "tests/integration/ScriptedReleaseFixture.h"
#include "tests/support/Expect.h"

#include <thread>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Testing::expectPlatformError;
using Testing::ScriptedPeer;

class HostileBodyTest : public Testing::ScriptedReleaseFixture {
public:
    // Goes on with each report of the progress.
    void releaseAtProgress() {
        onProgress = [&](std::int64_t) { server.release(); };
    }
};

TEST_F(HostileBodyTest, LongerBodyIsCutWhereItWouldPassTheSize) {
    server.expect({.answer = [&](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n" + part(0, 4000));
        peer.stall();
        peer.sendForever(part(4000) + "x");
    }});
    onProgress = [&](std::int64_t received) {
        if (received == 4000) {
            server.release();
        }
    };
    expectInstallerError("Download exceeds expected size", [&] { transfer(); });
    EXPECT_EQ(onDisk(), part(0, 4000));
}

TEST_F(HostileBodyTest, LongerBodyOfAResumedFileIsRefused) {
    plant(part(0, 1000));
    const std::string header = "HTTP/1.1 206 OK\r\nContent-Range: bytes 1000-4999/5000\r\n\r\n";
    server.expect({.answer = [&](ScriptedPeer& peer) {
        peer.send(header);
        peer.sendForever(content());
    }});
    expectInstallerError("Download exceeds expected size", [&] { transfer(); });
    EXPECT_EQ(onDisk(), part(0, 1000));
}

TEST_F(HostileBodyTest, ShorterBodyIsIncompleteAndIsResumed) {
    expect({}, {"Range"}, "HTTP/1.1 200 OK\r\nContent-Length: 4999\r\n\r\n" + part(0, 4999));
    expectInstallerError("Incomplete download", [&] { transfer(); });
    EXPECT_EQ(onDisk(), part(0, 4999));
    expect({"Range: bytes=4999-"}, {}, partialResponse(4999));
    download();
    EXPECT_EQ(onDisk(), content());
}

TEST_F(HostileBodyTest, BodyCutShortOfItsLengthIsALostConnection) {
    server.expect({.answer = [&](ScriptedPeer& peer) {
        peer.send(wholeHeader() + part(0, 4999));
        peer.closeWithoutNotify();
    }});
    expectPlatformError(UrlErrorCode::connectionLost, [&] { transfer(); });
    EXPECT_EQ(onDisk(), part(0, 4999));
    EXPECT_EQ(storedValidator(), "\"v1\"");
}

TEST_F(HostileBodyTest, ByteByByte) {
    setContent(part(0, 200));
    server.expect({.answer = [&](ScriptedPeer& peer) {
        peer.send(wholeHeader());
        peer.drip(content());
    }});
    releaseAtProgress();
    download();
    EXPECT_EQ(onDisk(), content());
    EXPECT_EQ(reports.size(), content().size());
}

TEST_F(HostileBodyTest, CompressedBodyIsNoImage) {
    expect({"Accept-Encoding: identity"}, {},
           "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 5000\r\n\r\n\x1F\x8B" + part(2));
    expectInstallerError("Downloaded file hash mismatch", [&] { download(); });
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(HostileBodyTest, PageOfAHotelsLoginIsNoImage) {
    const std::string page = "<html>please log in</html>";
    setContent(page + part(page.size()));
    for (int i = 0; i < 4; ++i) {
        expect({}, {}, "HTTP/1.1 200 OK\r\nContent-Length: 26\r\n\r\n" + page);
    }
    expectInstallerError("Incomplete download", [&] { download(); });
}

TEST_F(HostileBodyTest, AnswersWithoutAnImageAreTheirStatus) {
    for (const char* status : {"201", "204", "300", "304", "500"}) {
        expect({}, {}, std::string("HTTP/1.1 ") + status + " X\r\nContent-Length: 0\r\n\r\n");
        expectInstallerError(std::string("HTTP ") + status, [&] { transfer(); });
    }
    EXPECT_FALSE(std::filesystem::exists(sidecar));
}

TEST_F(HostileBodyTest, RedirectsInALoopEndAndAreRetried) {
    for (int i = 0; i < 21; ++i) {
        expect({}, {}, "HTTP/1.1 302 Found\r\nLocation: Kavio-1.4.2.dmg\r\nContent-Length: 0\r\n\r\n");
    }
    expect({}, {}, wholeResponse());
    download();
    EXPECT_EQ(onDisk(), content());
    expectWaits(std::chrono::seconds(1));
}

TEST_F(HostileBodyTest, FeedOfTheLargestSizeIsTaken) {
    const std::string feed(131'072, '#');
    expect({"GET /desktop/mac/latest-mac.yml HTTP/1.1", "Accept-Encoding: identity"}, {"Range", "If-Range"},
           "HTTP/1.1 200 OK\r\nContent-Length: 131072\r\n\r\n" + feed);
    EXPECT_EQ(manifest(), feed);
}

TEST_F(HostileBodyTest, FeedOfOneByteMoreIsNot) {
    expect({}, {}, "HTTP/1.1 200 OK\r\nContent-Length: 131073\r\n\r\n" + std::string(131'073, '#'));
    expectInstallerError("Download exceeds expected size", [&] { static_cast<void>(manifest()); });
}

TEST_F(HostileBodyTest, FeedWithoutEndIsCut) {
    server.expect({.answer = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        peer.sendForever("10\r\n0123456789abcdef\r\n");
    }});
    expectInstallerError("Download exceeds expected size", [&] { static_cast<void>(manifest()); });
}

TEST_F(HostileBodyTest, HeaderWithoutEndIsCut) {
    const auto endless = [](ScriptedPeer& peer) {
        peer.send("HTTP/1.1 200 OK\r\n");
        peer.sendForever("ETag: \"again\"\r\n");
    };
    server.expect({.answer = endless});
    expectPlatformError(UrlErrorCode::badServerResponse, [&] { static_cast<void>(manifest()); });
    server.expect({.answer = endless});
    expectPlatformError(UrlErrorCode::badServerResponse, [&] { transfer(); });
    EXPECT_FALSE(std::filesystem::exists(sidecar));
}

TEST_F(HostileBodyTest, SilenceIsRetriedAndResumed) {
    serveFrom(server.port(), {.idle = std::chrono::milliseconds(1000)});
    server.expect({.answer = [](ScriptedPeer& peer) { peer.untilGone(); }});
    server.expect({.answer = [&](ScriptedPeer& peer) {
        peer.send(wholeHeader() + part(0, 1000));
        peer.untilGone();
    }});
    expect({"Range: bytes=1000-", "If-Range: \"v1\""}, {}, partialResponse(1000));
    download();
    EXPECT_EQ(onDisk(), content());
    expectWaits(std::chrono::seconds(1 + 2));
}

TEST_F(HostileBodyTest, SilenceOfTheFeedIsATimeOut) {
    serveFrom(server.port(), {.idle = std::chrono::milliseconds(400)});
    server.expect({.answer = [](ScriptedPeer& peer) { peer.untilGone(); }});
    expectPlatformError(UrlErrorCode::timedOut, [&] { static_cast<void>(manifest()); });
}

TEST_F(HostileBodyTest, CancelDuringSilenceEndsIt) {
    for (const std::string& sent :
         {std::string(), std::string("HTTP/1.1 2"), wholeHeader() + part(0, 1000)}) {
        cancellation = std::make_shared<Cancellation>();
        server.expect({.answer = [sent](ScriptedPeer& peer) {
            peer.send(sent);
            peer.stall();
        }});
        std::thread user([&] {
            server.awaitStall();
            cancellation->cancel();
        });
        expectInstallerError(paused, [&] { download(); });
        user.join();
        EXPECT_EQ(onDisk(), part(0, onDisk().size()));
    }
    expectWaits(std::chrono::seconds(0));
}

TEST_F(HostileBodyTest, CancelDuringAWaitEndsItWithinAStep) {
    server.expect({.answer = [](ScriptedPeer& peer) { peer.reset(); }});
    test.clock.onSleep = [&](std::size_t before) {
        if (before == 3) {
            cancellation->cancel();
        }
    };
    expectInstallerError(paused, [&] { download(); });
    EXPECT_EQ(test.clock.sleeps().size(), 4U);
}

} // namespace

} // namespace InstallerCore
