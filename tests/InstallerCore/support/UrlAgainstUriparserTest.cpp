#include "InstallerCore/support/Url.h"
#include "tests/InstallerCore/support/RandomUri.h"

#include <gtest/gtest.h>
#include <uriparser/Uri.h>

#include <algorithm>
#include <map>
#include <vector>

namespace InstallerCore {

namespace {

using Part = std::optional<std::string>;

struct Parts {
    Part scheme;
    Part userInfo;
    Part host;
    Part port;
    std::string path;
    Part query;
    Part fragment;

    friend bool operator==(const Parts&, const Parts&) = default;
};

Parts partsOf(const Url& url) {
    return {url.scheme(), url.userInfo(), url.host(), url.port(), url.path(), url.query(), url.fragment()};
}

// The other library's reading of a text, which must outlive the object.
class JudgedUri {
public:
    JudgedUri() = default;
    JudgedUri(const JudgedUri&) = delete;
    JudgedUri& operator=(const JudgedUri&) = delete;

    ~JudgedUri() { uriFreeUriMembersA(&uri_); }

    bool parse(const std::string& text) {
        const char* error = nullptr;
        return uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), &error) == URI_SUCCESS;
    }

    bool resolve(const JudgedUri& base, const JudgedUri& reference) {
        return uriAddBaseUriExA(&uri_, &reference.uri_, &base.uri_, URI_RESOLVE_STRICTLY) == URI_SUCCESS;
    }

    [[nodiscard]] Parts parts() const {
        return {part(uri_.scheme), part(uri_.userInfo), host(), part(uri_.portText), path(),
                part(uri_.query),  part(uri_.fragment)};
    }

private:
    static Part part(const UriTextRangeA& range) {
        return range.first == nullptr ? Part() : std::string(range.first, range.afterLast);
    }

    [[nodiscard]] Part host() const {
        const Part text = part(uri_.hostText);
        const bool bracketed = uri_.hostData.ip6 != nullptr || uri_.hostData.ipFuture.first != nullptr;
        return text && bracketed ? "[" + *text + "]" : text;
    }

    [[nodiscard]] std::string path() const {
        std::string text;
        bool slash = uri_.absolutePath == URI_TRUE || uri_.hostText.first != nullptr;
        for (const UriPathSegmentA* segment = uri_.pathHead; segment != nullptr; segment = segment->next) {
            text += (slash ? "/" : "") + *part(segment->text);
            slash = true;
        }
        return text.empty() && uri_.absolutePath == URI_TRUE ? "/" : text;
    }

    UriUriA uri_{};
};

// How often the texts came to what is worth comparing; a generator that misses something compares nothing.
class Coverage {
public:
    void add(const Url& url) {
        count(url.scheme().has_value(), "scheme");
        count(!url.scheme(), "no scheme");
        count(!url.host(), "no host");
        count(url.host() && url.host()->empty(), "empty host");
        count(url.host() && url.host()->starts_with('['), "host in brackets");
        count(url.userInfo() && !url.userInfo()->empty(), "user info");
        count(url.userInfo() && url.userInfo()->empty(), "empty user info");
        count(url.port() && !url.port()->empty(), "port");
        count(url.port() && url.port()->empty(), "empty port");
        count(url.path().empty(), "empty path");
        count(url.query() && url.query()->empty(), "empty query");
        count(url.fragment() && url.fragment()->empty(), "empty fragment");
    }

    void count(bool seen, const std::string& name) { counts_[name] += seen ? 1 : 0; }

    void expectEachAtLeast(int least) const {
        for (const auto& [name, count] : counts_) {
            EXPECT_GE(count, least) << name;
        }
    }

private:
    std::map<std::string, int> counts_;
};

TEST(UrlAgainstUriparserTest, ReadsTheSamePartsOrNone) {
    constexpr int textCount = 1'000'000;
    Testing::RandomUri texts(1);
    Coverage coverage;
    for (int i = 0; i < textCount; ++i) {
        const std::string text = texts.next();
        const auto url = Url::parse(text);
        JudgedUri judged;
        ASSERT_EQ(url.has_value(), judged.parse(text)) << testing::PrintToString(text);
        if (url) {
            ASSERT_EQ(url->text(), text);
            ASSERT_EQ(partsOf(*url), judged.parts()) << testing::PrintToString(text);
            coverage.add(*url);
        }
        coverage.count(!url, "refused");
    }
    coverage.expectEachAtLeast(textCount / 500);
}

// Whether the library, resolving a reference, departs from the standard in the path:
//
// It puts a segment "." before an empty first one, also where a host makes that needless.
bool guardsPath(const Parts& judged) {
    return judged.path.starts_with("/./") || judged.path.starts_with("./");
}

// It drops the "/" that the rule for dot segments leaves when they remove the first segment of a path without
// a root: "s:a" and "b/../c" make "s:/c", not "s:c".
bool dropsRoot(const Url& base, const Url& reference) {
    const bool rootless = !base.host() && !base.path().starts_with('/') && !reference.host() &&
                          !reference.path().starts_with('/');
    return rootless && (base.path() + "/" + reference.path()).find("/..") != std::string::npos;
}

// The paths that are right where the library has this one.
std::vector<std::string> rightPaths(const Parts& judged, const Url& base, const Url& reference) {
    std::vector<std::string> paths = {judged.path};
    if (guardsPath(judged)) {
        paths.push_back(judged.path.substr(2));
    }
    if (dropsRoot(base, reference)) {
        paths.push_back("/" + paths.back());
    }
    return paths;
}

// We refuse what would read as an authority; the library writes it all the same.
std::optional<Parts> withPath(Parts judged, const std::string& path) {
    judged.path = path;
    return !judged.host && path.starts_with("//") ? std::nullopt : std::optional(std::move(judged));
}

TEST(UrlAgainstUriparserTest, ResolvesToTheSameParts) {
    constexpr int textCount = 500'000;
    Testing::RandomUri texts(2);
    int compared = 0;
    int identical = 0;
    std::string baseText = "https://h.test/a/b";
    for (int i = 0; i < textCount; ++i) {
        const std::string text = texts.next();
        const auto reference = Url::parse(text);
        if (!reference) {
            continue;
        }
        const auto base = Url::parse(baseText);
        const auto resolved = base->resolve(*reference);
        if (reference->scheme()) {
            ASSERT_EQ(resolved, reference) << "stands by itself: " << text;
            baseText = text;
            continue;
        }
        JudgedUri judgedBase;
        JudgedUri judgedReference;
        JudgedUri judged;
        ASSERT_TRUE(judgedBase.parse(baseText) && judgedReference.parse(text) &&
                    judged.resolve(judgedBase, judgedReference));
        const auto ours = resolved ? std::optional(partsOf(*resolved)) : std::nullopt;
        const auto paths = rightPaths(judged.parts(), *base, *reference);
        ASSERT_TRUE(
            std::any_of(paths.begin(), paths.end(),
                        [&](const std::string& path) { return ours == withPath(judged.parts(), path); }))
            << baseText << " and " << text << " gave " << (resolved ? resolved->text() : "nothing")
            << ", the library " << testing::PrintToString(judged.parts().path);
        ++compared;
        identical += ours == judged.parts() ? 1 : 0;
    }
    EXPECT_GT(compared, textCount / 10);
    EXPECT_GT(identical, compared / 10 * 9);
}

} // namespace

} // namespace InstallerCore
