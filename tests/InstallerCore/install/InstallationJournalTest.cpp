#include "InstallerCore/install/InstallationJournal.h"

#include "InstallerCore/support/PlatformError.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace InstallerCore {

namespace {

using Testing::expectInstallerError;
using Phase = InstallationJournal::Phase;

InstallationJournal decode(const std::string& text) {
    return InstallationJournal::decode(asBytes(text));
}

void expectInvalid(const std::string& text) {
    SCOPED_TRACE(text);
    expectInstallerError("Invalid installation journal", [&] { static_cast<void>(decode(text)); });
}

void expectNoJson(const std::string& text) {
    SCOPED_TRACE(text.substr(0, 40));
    try {
        static_cast<void>(decode(text));
        ADD_FAILURE() << "no error";
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), ErrorDomain::json);
        EXPECT_EQ(error.code(), static_cast<int>(JsonErrorCode::corrupt));
        EXPECT_STREQ(error.what(), "The data is not valid JSON.");
    }
}

TEST(InstallationJournalTest, RecordsAreExactlyTheseBytes) {
    const struct {
        Phase phase;
        const char* version;
        const char* bytes;
    } rows[] = {
        {Phase::copying, "2.0.0", R"({"target":"Kavio.app","phase":"copying","version":"2.0.0"})"},
        {Phase::replacing, "1.12.0", R"({"target":"Kavio.app","phase":"replacing","version":"1.12.0"})"},
        {Phase::installed, "01.2.3", R"({"target":"Kavio.app","phase":"installed","version":"01.2.3"})"},
        {Phase::copying, "a\"\\\n", R"({"target":"Kavio.app","phase":"copying","version":"a\"\\\n"})"},
    };

    for (const auto& row : rows) {
        const Bytes record = InstallationJournal::encode(row.phase, row.version);
        EXPECT_EQ(asText(record), row.bytes);
        const auto journal = InstallationJournal::decode(record);
        EXPECT_EQ(journal.phase, row.phase);
        EXPECT_EQ(journal.version, row.version);
    }
}

TEST(InstallationJournalTest, PhasesHaveTheirNames) {
    EXPECT_EQ(InstallationJournal::name(Phase::copying), "copying");
    EXPECT_EQ(InstallationJournal::name(Phase::replacing), "replacing");
    EXPECT_EQ(InstallationJournal::name(Phase::installed), "installed");
}

TEST(InstallationJournalTest, OrderSpaceAndOtherMembersDoNotMatter) {
    const auto journal = decode(" {\n\"version\" : \"2.0.0\", \"other\":\"\", \"phase\":\"installed\",\t"
                                "\"\\u0074arget\":\"Kavio\\u002Eapp\"}\n");
    EXPECT_EQ(journal.phase, Phase::installed);
    EXPECT_EQ(journal.version, "2.0.0");
}

TEST(InstallationJournalTest, OnlyTheTargetIsRequired) {
    const auto journal = decode(R"({"target":"Kavio.app"})");
    EXPECT_EQ(journal.phase, std::nullopt);
    EXPECT_EQ(journal.version, std::nullopt);
}

TEST(InstallationJournalTest, PhaseIsKnownOnlyByItsExactName) {
    for (const char* phase : {"", "Copying", "copying ", "copied", "replacing\\u0000", "0"}) {
        EXPECT_EQ(decode(std::string(R"({"target":"Kavio.app","phase":")") + phase + "\"}").phase,
                  std::nullopt)
            << phase;
    }
}

TEST(InstallationJournalTest, EmptyVersionIsOne) {
    EXPECT_EQ(decode(R"({"target":"Kavio.app","version":""})").version, "");
}

TEST(InstallationJournalTest, AnythingButAnObjectOfTextsIsInvalid) {
    expectInvalid("{}");
    expectInvalid("[]");
    expectInvalid(R"(["Kavio.app"])");
    expectInvalid(R"([{"target":"Kavio.app"}])");
    for (const char* value : {"1", "2.0", "true", "null", "[]", "{}", R"(["a"])"}) {
        for (const char* key : {"version", "phase", "other"}) {
            expectInvalid(std::string(R"({"target":"Kavio.app",")") + key + "\":" + value + "}");
        }
        expectInvalid(std::string(R"({"phase":"copying","target":)") + value + "}");
    }
}

TEST(InstallationJournalTest, AnotherTargetIsInvalid) {
    expectInvalid(R"({"phase":"copying","version":"2.0.0"})");
    for (const char* target :
         {"", "kavio.app", "Kavio.app/", "./Kavio.app", "../Kavio.app", "Other.app",
          "/Applications/Kavio.app", "Kavio.app\\u0000", "Kavio.app\\u0000x", "Kavio.ap"}) {
        expectInvalid(std::string(R"({"target":")") + target + R"(","phase":"copying"})");
    }
}

TEST(InstallationJournalTest, WhatIsNoDocumentIsTheErrorOfTheSystem) {
    const std::string whole = R"({"target":"Kavio.app","phase":"copying","version":"2.0.0"})";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        expectNoJson(whole.substr(0, length));
    }
    expectNoJson(whole + "}");
    expectNoJson(whole + whole);
    expectNoJson(whole + std::string(1, '\0'));
    expectNoJson("\xFF" + whole);
    expectNoJson("{\"target\":\"Kavio.app\xC3\"}");
    expectNoJson("{'target':'Kavio.app'}");
    expectNoJson(R"({"target":"Kavio.app",})");
    expectNoJson("// comment\n" + whole);
}

TEST(InstallationJournalTest, BareValueIsNoDocument) {
    for (const char* text : {R"("Kavio.app")", "1", "true", "null", "-0.5"}) {
        expectNoJson(text);
    }
}

TEST(InstallationJournalTest, DeepNestingIsRefusedLikeAnyOtherValue) {
    constexpr std::size_t depth = 30'000;
    expectNoJson(std::string(depth, '['));
    expectInvalid(std::string(depth, '[') + std::string(depth, ']'));
    expectInvalid(R"({"target":"Kavio.app","x":)" + std::string(depth, '[') + std::string(depth, ']') + "}");
}

} // namespace

} // namespace InstallerCore
