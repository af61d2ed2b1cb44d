#include "InstallerCore/config/Config.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/UrlGrammar.h"
#include "fuzz/Check.h"
#include "fuzz/UriJudge.h"

#include <curl/curl.h>

#include <memory>

// The input is an address, or a base address and a reference on a line each. (No address holds a line feed.)

namespace InstallerCore::Fuzz {

namespace {

constexpr std::string_view channelURL = "https://dist.mykavio.test/desktop/mac/latest-mac.yml";

std::string recomposed(const Url& url) {
    std::string text;
    if (url.scheme()) {
        text += *url.scheme() + ":";
    }
    if (url.host()) {
        text += "//" + (url.userInfo() ? *url.userInfo() + "@" : "") + *url.host() +
                (url.port() ? ":" + *url.port() : "");
    }
    text += url.path();
    if (url.query()) {
        text += "?" + *url.query();
    }
    if (url.fragment()) {
        text += "#" + *url.fragment();
    }
    return text;
}

void checkParsing(std::string_view text) {
    const auto url = Url::parse(text);
    const auto judged = judgedParts(text);
    check(url.has_value() == judged.has_value(), "both parsers accept the same texts");
    if (!url) {
        return;
    }
    check(url->text() == text, "the text is kept");
    check(recomposed(*url) == text, "the parts make up the text");
    check(url->scheme() == judged->scheme, "the scheme is the judge's");
    check(url->userInfo() == judged->userInfo, "the user is the judge's");
    check(url->host() == judged->host, "the host is the judge's");
    check(url->port() == judged->port, "the port is the judge's");
    check(url->path() == judged->path, "the path is the judge's");
    check(url->query() == judged->query, "the query is the judge's");
    check(url->fragment() == judged->fragment, "the fragment is the judge's");
    check(url->lastPathComponent().find('/') == std::string_view::npos &&
              url->path().ends_with(url->lastPathComponent()),
          "the last component is one");
}

void checkResolving(const Url& base, const Url& reference) {
    const auto resolved = base.resolve(reference);
    if (!base.scheme() && !reference.scheme()) {
        check(!resolved, "a relative base resolves nothing");
        return;
    }
    if (!resolved) {
        check(!base.host() && !reference.host(), "only a path without a server may fail to resolve");
        return;
    }
    check(Url::parse(resolved->text()) == resolved, "the result parses");
    check(resolved->scheme().has_value(), "the result is absolute");
    check(resolved->fragment() == reference.fragment(), "the fragment is the reference's");
    check(base.resolve(*resolved) == resolved, "resolving again changes nothing");
    if (reference.scheme()) {
        check(*resolved == reference, "an absolute reference stands by itself");
        return;
    }
    check(resolved->host() == (reference.host() ? reference.host() : base.host()),
          "the server is one of the two");
    if (reference.host() || !reference.path().empty()) {
        check(UrlGrammar::removeDotSegments(resolved->path()) == resolved->path(),
              "no dot segments are left");
    }
    // The judge spells an IPv6 address its own way and puts "/." before a path that begins with two slashes.
    if (base.host() && !resolved->host()->starts_with('[') && !resolved->path().starts_with("//")) {
        check(judgedResolution(base.text(), reference.text()) == resolved->text(),
              "the result is the judge's");
    }
}

// What the transport would make of the part of a trusted address; absent when it has none.
std::optional<std::string> transportPart(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, 0) != CURLUE_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    return std::string(text);
}

void checkTrust(std::string_view text) {
    const Config config{.allowedHosts = {"dist.mykavio.test", "mykavio.test"}};
    std::optional<Url> url;
    try {
        url = config.url(text);
    } catch (const InstallerError& error) {
        check(error.errorDescription() == "Untrusted download URL", "distrust has one text");
        return;
    }
    check(url->text() == text, "a trusted address is returned unchanged");
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> seen(curl_url(), &curl_url_cleanup);
    check(curl_url_set(seen.get(), CURLUPART_URL, url->text().c_str(), 0) == CURLUE_OK,
          "the transport parses it");
    check(transportPart(seen.get(), CURLUPART_SCHEME) == "https", "the transport uses TLS");
    check(transportPart(seen.get(), CURLUPART_HOST) == url->host(),
          "the transport connects to the trusted host");
    check(transportPart(seen.get(), CURLUPART_PORT).value_or("443") == "443",
          "the transport connects to port 443");
    check(!transportPart(seen.get(), CURLUPART_USER), "the transport sends no user");
    check(!transportPart(seen.get(), CURLUPART_PASSWORD), "the transport sends no password");
    check(!transportPart(seen.get(), CURLUPART_FRAGMENT), "the transport sees no fragment");
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    const auto texts = Fuzz::pieces(Fuzz::textOf(data, size), '\n', 2);
    for (const std::string_view text : texts) {
        Fuzz::checkParsing(text);
        Fuzz::checkTrust(text);
    }
    const auto base = Url::parse(texts.size() > 1 ? texts.front() : Fuzz::channelURL);
    const auto reference = Url::parse(texts.back());
    if (base && reference) {
        Fuzz::checkResolving(*base, *reference);
    }
    return 0;
}
