#include "InstallerCore/feed/Manifest.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;

// The members in their order, with values as they stand in JSON.
const std::pair<std::string, std::string> members[] = {
    {"platform", R"("macos")"},      {"arch", R"("arm64")"},      {"appVersion", R"("1.4.2")"},
    {"minOSVersion", R"("12.0.0")"}, {"url", R"("https://a/b")"}, {"sizeBytes", "5"},
    {"installedSizeBytes", "20"},    {"sha512", R"("ab")"},
};

const Artifact sample{"macos", "arm64", "1.4.2", "12.0.0", "https://a/b", 5, 20, "ab"};

// The sample's JSON, one member's value replaced by another text, or the member left out when that is empty.
std::string sampleJson(const std::string& changed = {}, const std::string& value = {}) {
    std::string json;
    for (const auto& [key, usual] : members) {
        const std::string& text = key == changed ? value : usual;
        if (!text.empty()) {
            json += (json.empty() ? "" : ",") + ("\"" + key + "\":" + text);
        }
    }
    return "{" + json + "}";
}

std::string text(const Bytes& bytes) {
    return std::string(asText(bytes));
}

void expectJsonError(JsonErrorCode code, const std::string& json) {
    SCOPED_TRACE(json);
    const auto expectIt = [code](auto decode) {
        try {
            static_cast<void>(decode());
            ADD_FAILURE() << "decoded";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), ErrorDomain::json);
            EXPECT_EQ(error.code(), static_cast<int>(code)) << error.what();
        }
    };
    expectIt([&json] { return Artifact::decode(asBytes(json)); });
    const std::string manifest = R"({"artifacts":[)" + sampleJson() + "," + json + "]}";
    if (json.starts_with("{")) {
        expectIt([&manifest] { return Manifest::decode(asBytes(manifest)); });
    }
}

TEST(ManifestTest, ArtifactIsWrittenInTheOrderOfItsMembers) {
    EXPECT_EQ(
        text(sample.encode()),
        R"({"platform":"macos","arch":"arm64","appVersion":"1.4.2","minOSVersion":"12.0.0","url":"https://a/b",)"
        R"("sizeBytes":5,"installedSizeBytes":20,"sha512":"ab"})");
    EXPECT_EQ(text(sample.encode()), sampleJson());
}

TEST(ManifestTest, ManifestIsWrittenAsItsArtifacts) {
    EXPECT_EQ(text(Manifest{}.encode()), R"({"artifacts":[]})");
    EXPECT_EQ(text(Manifest{{sample}}.encode()), R"({"artifacts":[)" + sampleJson() + "]}");
    EXPECT_EQ(text(Manifest{{sample, sample}}.encode()),
              R"({"artifacts":[)" + sampleJson() + "," + sampleJson() + "]}");
}

TEST(ManifestTest, CodingGivesBackTheSameValues) {
    Artifact odd = sample;
    odd.platform = "";
    odd.url = "\"\\/\b\f\n\r\t\x01\x7F ü \u2028 \U0001F600";
    odd.appVersion = std::string("a\0b", 3);
    odd.sizeBytes = std::numeric_limits<std::int64_t>::max();
    odd.installedSizeBytes = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(Artifact::decode(odd.encode()), odd);
    EXPECT_EQ(Artifact::decode(sample.encode()), sample);
    for (const Manifest& manifest : {Manifest{}, Manifest{{sample}}, Manifest{{odd, sample, odd}}}) {
        EXPECT_EQ(Manifest::decode(manifest.encode()), manifest);
    }
}

TEST(ManifestTest, DecodingTakesAnyOrderAndIgnoresOtherKeys) {
    std::string json;
    for (const auto& [key, value] : members) {
        json = "\"" + key + "\" : " + value + (json.empty() ? "" : ",\n") + json;
    }
    json = "\n{\"Platform\": null, " + json + ", \"more\": {\"platform\": 1}} ";
    EXPECT_EQ(Artifact::decode(asBytes(json)), sample);
    EXPECT_EQ(Manifest::decode(asBytes(R"({"version":1,"artifacts":[],"more":[{}]})")), Manifest{});
}

TEST(ManifestTest, ValuesAreNotValidated) {
    const std::string json = sampleJson("sizeBytes", "-7");
    EXPECT_EQ(Artifact::decode(asBytes(json)).sizeBytes, -7);
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("url", R"("")"))).url, "");
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("sha512", R"("no hash")"))).sha512, "no hash");
}

TEST(ManifestTest, EveryKeyIsRequired) {
    for (const auto& [key, value] : members) {
        expectJsonError(JsonErrorCode::keyNotFound, sampleJson(key, ""));
    }
    expectJsonError(JsonErrorCode::keyNotFound, "{}");
    for (const std::string json : {"{}", R"({"Artifacts":[]})"}) {
        try {
            static_cast<void>(Manifest::decode(asBytes(json)));
            ADD_FAILURE() << "decoded";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.code(), static_cast<int>(JsonErrorCode::keyNotFound));
        }
    }
}

TEST(ManifestTest, TextsMustBeStrings) {
    for (const char* key : {"platform", "arch", "appVersion", "minOSVersion", "url", "sha512"}) {
        for (const char* value : {"null", "true", "5", "1.5", "[]", R"(["a"])", "{}"}) {
            expectJsonError(JsonErrorCode::typeMismatch, sampleJson(key, value));
        }
    }
}

TEST(ManifestTest, SizesMustBeIntegersThatFit) {
    for (const char* key : {"sizeBytes", "installedSizeBytes"}) {
        for (const char* value :
             {"true", "false", "null", "1.5", "1.0", "1e0", "1E2", "-0.0", R"("5")", R"("")", "[]", "[5]",
              "{}", "18446744073709551615", "18446744073709551616", "9223372036854775808",
              "-9223372036854775809", "100000000000000000000000000000000000000"}) {
            expectJsonError(JsonErrorCode::typeMismatch, sampleJson(key, value));
        }
    }
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("sizeBytes", "9223372036854775807"))).sizeBytes,
              9'223'372'036'854'775'807);
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("sizeBytes", "-1"))).sizeBytes, -1);
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("sizeBytes", "0"))).sizeBytes, 0);
    EXPECT_EQ(Artifact::decode(asBytes(sampleJson("sizeBytes", "-9223372036854775808"))).sizeBytes,
              std::numeric_limits<std::int64_t>::min());
}

TEST(ManifestTest, WhatIsNoJsonIsRefused) {
    const std::string sound = sampleJson();
    for (const std::string& json :
         {std::string(), std::string(" "), sound.substr(0, sound.size() - 1), sound + "x", sound + sound,
          sampleJson("sizeBytes", "05"), sampleJson("sizeBytes", "+5"), sampleJson("sizeBytes", "0x5"),
          sampleJson("sizeBytes", "NaN"), sampleJson("url", "'a'"), sampleJson("url", "\"\xFF\""),
          sampleJson("url", R"("\ud800")"), sampleJson("url", "\"a\nb\""), "//\n" + sound,
          sound + std::string("\0x", 2), sound + std::string(1, '\0')}) {
        expectJsonError(JsonErrorCode::corrupt, json);
    }
}

TEST(ManifestTest, TopLevelsMustBeOfTheirShape) {
    for (const char* json : {"[]", "null", "5", R"("a")", "true"}) {
        expectJsonError(JsonErrorCode::typeMismatch, json);
    }
    for (const char* json :
         {"[]", "null", "5", R"("a")", R"({"artifacts":{}})", R"({"artifacts":null})", R"({"artifacts":"a"})",
          R"({"artifacts":[null]})", R"({"artifacts":[[]]})", R"({"artifacts":[5]})"}) {
        SCOPED_TRACE(json);
        try {
            static_cast<void>(Manifest::decode(asBytes(json)));
            ADD_FAILURE() << "decoded";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), ErrorDomain::json);
        }
    }
}

TEST(ManifestTest, FirstImageForTheArchitectureIsChosen) {
    Artifact x64 = sample;
    x64.arch = "x64";
    Artifact secondX64 = x64;
    secondX64.url = "https://a/c";
    const Manifest manifest{{sample, x64, secondX64}};
    EXPECT_EQ(manifest.artifact("arm64"), sample);
    EXPECT_EQ(manifest.artifact("x64"), x64);
}

TEST(ManifestTest, NoOtherArchitectureOrPlatformStandsIn) {
    const std::string text = "This Mac is not supported by this release";
    Artifact x64 = sample;
    x64.arch = "x64";
    expectInstallerError(text, [&x64] { return Manifest{{x64}}.artifact("arm64"); });
    expectInstallerError(text, [] { return Manifest{{sample}}.artifact("x64"); });
    expectInstallerError(text, [] { return Manifest{}.artifact("arm64"); });
    for (const char* arch : {"", "ARM64", "arm64 ", "arm", "arm64e"}) {
        expectInstallerError(text, [arch] { return Manifest{{sample}}.artifact(arch); });
    }
    for (const char* platform : {"MacOS", "macOS", "windows", "", "macos "}) {
        Artifact other = sample;
        other.platform = platform;
        expectInstallerError(text, [&other] { return Manifest{{other}}.artifact("arm64"); });
        EXPECT_EQ((Manifest{{other, sample}}.artifact("arm64")), sample);
    }
}

} // namespace

} // namespace InstallerCore
