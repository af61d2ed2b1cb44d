#include "hosts/linux/HttpCurl.h"
#include "rehearsal/ReleaseServer.h"
#include "tests/hosts/linux/HttpCurlFixture.h"

#include <gmock/gmock.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <utility>

namespace InstallerCore {

namespace {

using ::testing::ElementsAre;
using Testing::EnvironmentVariable;
using Testing::okResponse;
using Testing::ScriptedPeer;
using Testing::ScriptedServer;

// The transport of the product but for the authority that it trusts, when one is given, and for where it
// finds the host, when a port is.
class NearlyProduction final : public HttpCurl {
public:
    explicit NearlyProduction(std::string authority, std::uint16_t port = 0)
        : authority_(std::move(authority)) {
        if (port != 0) {
            append(routes_, "dist.test::127.0.0.1:" + std::to_string(port));
        }
    }

private:
    void configure(CURL* handle) const override {
        curl_easy_setopt(handle, CURLOPT_CONNECT_TO, routes_.get());
        if (!authority_.empty()) {
            curl_easy_setopt(handle, CURLOPT_CAINFO, authority_.c_str());
        }
    }

    std::string authority_;
    CurlList routes_;
};

class HttpCurlTlsTest : public Testing::HttpCurlFixture {
public:
    void expectRefused(const ScriptedServer::Options& options, UrlErrorCode code) {
        const ScriptedServer other(options);
        auto http = transport(other.port());
        fetchBy(http);
        expectCalls({"completed"});
        expectError(code);
        EXPECT_TRUE(other.requests().empty());
    }

    // A server with the document at /feed, and with a redirect to it at /old.
    [[nodiscard]] Rehearsal::ReleaseServer nginx(const std::string& document, bool http2 = true) {
        std::filesystem::create_directory(directory / "nginx");
        std::filesystem::create_directory(directory / "documents");
        Testing::writeFile(directory / "documents/feed", document);
        return Rehearsal::ReleaseServer({.directory = directory / "nginx",
                                         .documentRoot = directory / "documents",
                                         .certificate = authority.issue(hosts),
                                         .http2 = http2,
                                         .locations = "location /old { return 302 /feed; }"});
    }
};

TEST_F(HttpCurlTlsTest, CertificateOfAnotherAuthority) {
    const Rehearsal::CertificateAuthority stranger;
    expectRefused({.certificate = stranger.issue(hosts)}, UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, CertificateOfAnotherHost) {
    expectRefused({.certificate = authority.issue({"evil.test", "www.dist.test", "*.dist.test"})},
                  UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, CertificateThatHasExpired) {
    expectRefused({.certificate = authority.issue(
                       hosts, {.begin = std::chrono::hours(-2), .end = std::chrono::hours(-1)})},
                  UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, CertificateThatIsNotYetValid) {
    expectRefused({.certificate = authority.issue(
                       hosts, {.begin = std::chrono::hours(1), .end = std::chrono::hours(2)})},
                  UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, CertificateOfRedirectTargetIsChecked) {
    ScriptedServer narrow({.certificate = authority.issue({"dist.test"})});
    narrow.expect({}, Testing::redirectTo("https://mykavio.test/new"));
    auto http = transport(narrow.port());
    fetchBy(http);
    expectCalls({"redirect https://mykavio.test/new", "completed"});
    expectError(UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, OldTlsIsRefused) {
    expectRefused({.certificate = authority.issue(hosts), .newestTls = TLS1_1_VERSION},
                  UrlErrorCode::secureConnectionFailed);
}

TEST_F(HttpCurlTlsTest, Tls12IsEnough) {
    ScriptedServer other({.certificate = authority.issue(hosts), .newestTls = TLS1_2_VERSION});
    other.expect({}, okResponse("body"));
    auto http = transport(other.port());
    fetchBy(http);
    EXPECT_EQ(delegate.body, "body");
}

TEST_F(HttpCurlTlsTest, ServerWithoutTlsIsRefused) {
    const Rehearsal::LoopbackListener listener;
    auto http = transport(listener.port());
    const auto task = http.start(request("feed"), delegate);
    const Descriptor plain(::accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    const std::string answer = okResponse("body");
    ASSERT_EQ(::send(plain.get(), answer.data(), answer.size(), MSG_NOSIGNAL), std::ssize(answer));
    delegate.await();
    expectCalls({"completed"});
    expectError(UrlErrorCode::secureConnectionFailed);
}

// Nothing that a user's environment holds makes the product trust another authority.
TEST_F(HttpCurlTlsTest, EnvironmentBringsNoTrust) {
    const std::string file = directory / "authority.pem";
    const EnvironmentVariable certificateFile("SSL_CERT_FILE", file);
    const EnvironmentVariable certificateDirectory("SSL_CERT_DIR", directory.path());
    const EnvironmentVariable bundle("CURL_CA_BUNDLE", file);
    const Testing::NoProxy noProxy;
    NearlyProduction http("", server.port());
    fetchBy(http);
    expectCalls({"completed"});
    expectError(UrlErrorCode::certificateRejected);
}

TEST_F(HttpCurlTlsTest, NothingOfTheUsersNetrcIsSent) {
    Testing::writeFile(directory / ".netrc", "machine dist.test login user password secret\n");
    const EnvironmentVariable home("HOME", directory.path());
    server.expect({.absent = {"Authorization"}, .answer = [](ScriptedPeer& peer) {
                       peer.send("HTTP/1.1 401 No\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                                 "Content-Length: 0\r\n\r\n");
                   }});
    fetch();
    expectCalls({"response 401", "completed"});
}

TEST_F(HttpCurlTlsTest, ProxyOfTheEnvironmentIsUsedAndItsAnswerIsNotTheResponse) {
    ScriptedServer proxy({.certificate = authority.issue(hosts), .secure = false});
    proxy.expect({.lines = {"CONNECT dist.test:443 HTTP/1.1"},
                  .absent = {"Range", "If-Range", "Cookie"},
                  .answer = [](ScriptedPeer& peer) {
                      peer.send("HTTP/1.1 200 Established\r\nETag: \"proxy\"\r\n\r\n");
                      peer.secure();
                  }});
    proxy.expect({"GET /feed HTTP/1.1", "Host: dist.test", "Range: bytes=5-"}, okResponse("body"));
    const EnvironmentVariable variable("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.port()));
    const EnvironmentVariable noProxy("no_proxy", "");
    const EnvironmentVariable noProxyEither("NO_PROXY", "");
    NearlyProduction http(directory / "authority.pem");
    fetchBy(http, "feed", {{.name = "Range", .value = "bytes=5-"}});
    expectCalls({"response 200", "data", "completed"});
    EXPECT_EQ(delegate.answer.header("ETag"), std::nullopt);
    EXPECT_EQ(delegate.body, "body");
}

TEST_F(HttpCurlTlsTest, RefusalOfTheProxyIsNoResponse) {
    ScriptedServer proxy({.certificate = authority.issue(hosts), .secure = false});
    proxy.expect({"CONNECT dist.test:443 HTTP/1.1"}, "HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n");
    const EnvironmentVariable variable("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.port()));
    const EnvironmentVariable noProxy("no_proxy", "");
    const EnvironmentVariable noProxyEither("NO_PROXY", "");
    NearlyProduction http(directory / "authority.pem");
    fetchBy(http);
    expectCalls({"completed"});
    expectError(UrlErrorCode::connectionLost);
}

TEST_F(HttpCurlTlsTest, Http2IsSpokenWhereItIsOffered) {
    auto release = nginx("0123456789");
    auto http = transport(release.port());
    fetchBy(http, "old",
            {{.name = "Range", .value = "bytes=5-"}, {.name = "If-Range", .value = "\"other\""}});
    expectCalls({"redirect https://dist.test/feed", "response 200", "data", "completed"});
    const auto tag = delegate.answer.header("ETag");
    ASSERT_TRUE(tag);

    Testing::RecordingDelegate resumed;
    {
        const auto task = http.start(request("feed", {{"Range", "bytes=5-"}, {"If-Range", *tag}}), resumed);
        resumed.await();
    }
    EXPECT_EQ(resumed.answer.status, 206);
    EXPECT_EQ(resumed.answer.header("content-range"), "bytes 5-9/10");
    EXPECT_EQ(resumed.body, "56789");
    EXPECT_THAT(release.stop(), ElementsAre("GET /old HTTP/2.0 302 [bytes=5-] [\"other\"]",
                                            "GET /feed HTTP/2.0 200 [bytes=5-] [\"other\"]",
                                            "GET /feed HTTP/2.0 206 [bytes=5-] [" + *tag + "]"));
}

TEST_F(HttpCurlTlsTest, Http11IsSpokenWhereNothingElseIsOffered) {
    auto release = nginx("0123456789", false);
    auto http = transport(release.port());
    fetchBy(http);
    EXPECT_EQ(delegate.body, "0123456789");
    EXPECT_THAT(release.stop(), ElementsAre("GET /feed HTTP/1.1 200 [] []"));
}

} // namespace

} // namespace InstallerCore
