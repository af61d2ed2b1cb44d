#include "rehearsal/signing/MachOSigner.h"

#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/Blob.h"
#include "rehearsal/signing/Entitlements.h"
#include "tests/rehearsal/DescribeTree.h"
#include "tests/rehearsal/signing/SigningJudge.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>

namespace InstallerCore {

namespace {

using namespace Rehearsal;
using namespace Testing;
using nlohmann::json;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr const char* entitlements = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>com.apple.security.app-sandbox</key><true/>
<key>com.apple.security.files.user-selected.read-only</key><true/>
</dict></plist>
)";

class MachOSignerTest : public ::testing::Test {
protected:
    // A copy of a sample executable; "universal" for both processors.
    [[nodiscard]] std::filesystem::path copyOf(const std::string& architecture,
                                               const std::string& name = "Kavio") const {
        const auto file = directory_ / name;
        if (architecture == "universal") {
            const auto app = makeSampleApplication({.small = true}, directory_.path());
            std::filesystem::copy_file(app / "Contents/MacOS/Kavio", file);
        } else {
            std::filesystem::copy_file(sampleExecutables() / architecture / name, file);
        }
        return file;
    }

    // A program without a signature, linked with these options.
    [[nodiscard]] std::filesystem::path link(const std::string& cpu, std::vector<std::string> options) const {
        const auto file = directory_ / "linked";
        const auto object = sampleExecutables() / (cpu == "arm64" ? "arm64" : "x64") / "KavioHelper.o";
        for (const std::string& option :
             {std::string("-arch"), cpu, std::string("-platform_version"), std::string("macos"),
              std::string("12.0"), std::string("13.3"), std::string("-no_adhoc_codesign"), object.string(),
              std::string(SAMPLE_SOURCES "/libSystem.tbd"), std::string("-o"), file.string()}) {
            options.push_back(option);
        }
        (void)outputOf("/usr/bin/ld64.lld-19", options);
        return file;
    }

    static SignedCode sign(const std::filesystem::path& file, const CodeOptions& options = {}) {
        return signMachO(file, &sharedIdentity(), options);
    }

    TemporaryDirectory directory_;
};

TEST_F(MachOSignerTest, EveryHashFitsInEveryKindOfFile) {
    for (const char* architecture : {"arm64", "x64", "universal"}) {
        SCOPED_TRACE(architecture);
        const auto file = copyOf(architecture);
        const SignedCode code = sign(file);
        const std::vector<json> found = judgeCode(file);
        ASSERT_THAT(found, SizeIs(code.slices.size()));
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i].at("cdhash"), hexadecimal(code.slices[i].at(0).hash));
            EXPECT_EQ(found[i].at("identifier"), "Kavio");
            EXPECT_EQ(found[i].at("team"), sharedIdentity().team());
            EXPECT_EQ(found[i].at("version"), "0x20500");
            EXPECT_EQ(found[i].at("flags"), "0x10000");
            EXPECT_EQ(found[i].at("blobs"), json({"0x0", "0x2", "0x10000"}));
        }
        std::filesystem::remove(file);
    }
}

TEST_F(MachOSignerTest, AnotherReaderFindsTheSignatureAtTheEndOfTheFile) {
    const auto file = copyOf("arm64");
    (void)sign(file);
    const auto size = std::filesystem::file_size(file);
    const std::string headers = outputOf("/usr/bin/llvm-objdump-19", {"--macho", "--private-headers", file});
    const auto after = [&](const std::string& command, const std::string& field) {
        const std::size_t at = headers.find(field, headers.find(command)) + field.size();
        return std::stoull(headers.substr(at));
    };
    EXPECT_EQ(after("LC_CODE_SIGNATURE", " dataoff ") + after("LC_CODE_SIGNATURE", " datasize "), size);
    EXPECT_EQ(after("__LINKEDIT", " fileoff ") + after("__LINKEDIT", " filesize "), size);
    EXPECT_THAT(headers, ::testing::Not(HasSubstr("past end of file")));
}

TEST_F(MachOSignerTest, PagesAreThoseOfTheProcessorOrAsAskedFor) {
    const auto file = copyOf("universal");
    (void)sign(file);
    const std::vector<json> usual = judgeCode(file);
    EXPECT_EQ(usual.at(0).at("page"), 14); // arm64
    EXPECT_EQ(usual.at(1).at("page"), 12);
    for (const unsigned bits : {0U, 12U, 14U}) {
        (void)sign(file, {.pageSizeBits = bits});
        EXPECT_EQ(judgeCode(file).at(0).at("page"), bits);
    }
}

TEST_F(MachOSignerTest, ProgramsAndLibrariesAreToldApart) {
    const auto program = copyOf("x64");
    const auto library = copyOf("x64", "KavioKit");
    (void)sign(program);
    (void)sign(library);
    EXPECT_EQ(judgeCode(program).at(0).at("segment").at(2), 1);
    EXPECT_EQ(judgeCode(library).at(0).at("segment").at(2), 0);
}

TEST_F(MachOSignerTest, SigningAgainGivesTheSameCode) {
    const auto file = copyOf("universal");
    const SignedCode first = sign(file);
    const auto size = std::filesystem::file_size(file);
    const SignedCode second = sign(file);
    EXPECT_EQ(first.slices, second.slices);
    EXPECT_EQ(std::filesystem::file_size(file), size);
}

TEST_F(MachOSignerTest, SeveralDirectoriesHaveTheirPlaces) {
    const auto file = copyOf("arm64");
    const SignedCode code = sign(file, {.hashes = {SignatureHash::sha1, SignatureHash::sha256,
                                                   SignatureHash::sha256Truncated, SignatureHash::sha384}});
    const std::vector<json> found = judgeCode(file);
    ASSERT_THAT(found, SizeIs(4));
    const std::pair<const char*, int> expected[] = {{"0x0", 1}, {"0x1000", 2}, {"0x1001", 3}, {"0x1002", 4}};
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].at("slot"), expected[i].first);
        EXPECT_EQ(found[i].at("type"), expected[i].second);
        EXPECT_EQ(found[i].at("cdhash"), hexadecimal(code.slices.at(0).at(i).hash));
    }
}

TEST_F(MachOSignerTest, OlderVersionsOfDirectoriesAreShorter) {
    const auto file = copyOf("x64");
    for (const std::uint32_t version : {0x20001U, 0x20100U, 0x20200U, 0x20300U, 0x20400U, 0x20500U}) {
        (void)sign(file, {.version = version});
        const json found = judgeCode(file).at(0);
        EXPECT_EQ(found.at("identifier"), "Kavio");
        EXPECT_EQ(found.at("team"), version < 0x20200 ? "" : sharedIdentity().team());
    }
    (void)sign(file, {.hardenedRuntime = false});
    EXPECT_EQ(judgeCode(file).at(0).at("version"), "0x20400");
}

TEST_F(MachOSignerTest, TheOptionsSetTheFlags) {
    const auto file = copyOf("x64");
    const std::pair<CodeOptions, const char*> cases[] = {
        {{.hardenedRuntime = false}, "0x0"},
        {{.adHoc = true}, "0x10002"},
        {{.adHoc = true, .hardenedRuntime = false}, "0x2"},
        {{.flags = 0x20002}, "0x20002"},
    };
    for (const auto& [options, flags] : cases) {
        (void)sign(file, options);
        EXPECT_EQ(judgeCode(file).at(0).at("flags"), flags);
    }
}

TEST_F(MachOSignerTest, AdHocCodeHasNoTeamAndAnEmptySignature) {
    const auto file = copyOf("arm64");
    const SignedCode code = signMachO(file, nullptr, {.adHoc = true});
    const json found = judgeCode(file).at(0);
    EXPECT_EQ(found.at("team"), "");
    EXPECT_EQ(found.at("blobs"), json({"0x0", "0x2", "0x10000"}));
    EXPECT_THAT(readFile(file), HasSubstr(std::string("\xfa\xde\x0b\x01\0\0\0\x08", 8)));
    EXPECT_EQ(code.requirement("TEAM"), "cdhash H\"" + found.at("cdhash").get<std::string>() + '"');
}

TEST_F(MachOSignerTest, AllThatIsGivenIsSealed) {
    const auto file = copyOf("arm64");
    writeFile(directory_ / "information", "1");
    writeFile(directory_ / "resources", "3");
    writeFile(directory_ / "other", "6");
    (void)sign(file, {.entitlements = entitlements,
                      .specialSlots = {{1, toBytes("1")}, {3, toBytes("3")}, {6, toBytes("6")}}});
    const json found =
        judgeCode(file, {"1=" + (directory_ / "information").string(),
                         "3=" + (directory_ / "resources").string(), "6=" + (directory_ / "other").string()})
            .at(0);
    EXPECT_EQ(found.at("slots"), json({1, 2, 3, 5, 6, 7}));
    EXPECT_EQ(found.at("blobs"), json({"0x0", "0x2", "0x5", "0x7", "0x10000"}));
    (void)sign(file, {.entitlements = entitlements, .derEntitlements = false});
    EXPECT_EQ(judgeCode(file).at(0).at("slots"), json({2, 5}));
    (void)sign(file, {.requirements = Bytes()});
    EXPECT_EQ(judgeCode(file).at(0).at("blobs"), json({"0x0", "0x10000"}));
}

// As Apple's tools encode the same two.
TEST_F(MachOSignerTest, EntitlementsHaveASecondForm) {
    EXPECT_EQ(
        hexadecimal(derEntitlements(entitlements)),
        "7061020101b05c"
        "30230c1e636f6d2e6170706c652e73656375726974792e6170702d73616e64626f780101ff"
        "30350c30636f6d2e6170706c652e73656375726974792e66696c65732e757365722d73656c65637465642e726561642d6f"
        "6e6c790101ff");
    const auto encoded = [](const std::string& value) {
        // Behind both outer headers, the number 1 and the key.
        return hexadecimal(derEntitlements("<plist><dict><key>k</key>" + value + "</dict></plist>"))
            .substr(24);
    };
    EXPECT_EQ(encoded("<false/>"), "010100");
    EXPECT_EQ(encoded("<integer>128</integer>"), "02020080");
    EXPECT_EQ(encoded("<integer>-128</integer>"), "020180");
    EXPECT_EQ(encoded("<string>v</string>"), "0c0176");
    EXPECT_EQ(encoded("<array><true/><string/></array>"), "30050101ff0c00");
    EXPECT_EQ(encoded("<dict><key>a</key><true/></dict>"), "b00830060c01610101ff");
    EXPECT_THROW(encoded("<data>AA==</data>"), std::runtime_error);
    EXPECT_THROW((void)derEntitlements("<plist><true/></plist>"), std::runtime_error);
}

TEST_F(MachOSignerTest, TheMessageSignsTheDirectoryInTheFile) {
    const auto file = copyOf("x64");
    (void)sign(file, {.hashes = {SignatureHash::sha1, SignatureHash::sha256}});
    const std::string content = readFile(file);
    const std::size_t start = content.rfind("\xfa\xde\x0c\xc0");
    const auto blobs = readSuperBlob(Magic::embeddedSignature, asBytes(content).subspan(start));
    const ByteView message = blobs.at(Slot::signature).subspan(8);
    EXPECT_EQ(verdictOnMessage(message, blobs.at(Slot::codeDirectory), sharedIdentity().rootPem(),
                               std::time(nullptr)),
              "good");
}

// The expression as Apple documents its operators: each "and" in front of its two operands.
TEST_F(MachOSignerTest, TheDesignatedRequirementIsCompiled) {
    const auto file = copyOf("x64");
    (void)sign(file, {.identifier = "a.bc"});
    const std::string content = readFile(file);
    const std::size_t start = content.rfind("\xfa\xde\x0c\xc0");
    const auto blobs = readSuperBlob(Magic::embeddedSignature, asBytes(content).subspan(start));
    EXPECT_EQ(hexadecimal(blobs.at(Slot::requirements)), "fade0c01000000a40000000100000003"
                                                         "00000014"
                                                         "fade0c000000009000000001"
                                                         "00000006"
                                                         "00000002"
                                                         "00000004612e6263"
                                                         "00000006"
                                                         "0000000f"
                                                         "00000006"
                                                         "0000000e"
                                                         "00000001"
                                                         "0000000a2a864886f7636406020600"
                                                         "00"
                                                         "00000000"
                                                         "00000006"
                                                         "0000000e"
                                                         "00000000"
                                                         "0000000a2a864886f763640601"
                                                         "0d0000"
                                                         "00000000"
                                                         "0000000b"
                                                         "00000000"
                                                         "0000000a7375626a6563742e4f550000"
                                                         "00000001"
                                                         "0000000a53414d504c455445414d0000");
    EXPECT_EQ(
        readSignedMachO(file).requirement("SAMPLETEAM"),
        "identifier \"a.bc\" and anchor apple generic and certificate 1[field.1.2.840.113635.100.6.2.6] "
        "/* exists */ and certificate leaf[field.1.2.840.113635.100.6.1.13] /* exists */ and certificate "
        "leaf[subject.OU] = SAMPLETEAM");
    EXPECT_THAT(readSignedMachO(file).requirement("97JCY7859U"), ::testing::EndsWith(" = \"97JCY7859U\""));
}

TEST_F(MachOSignerTest, AFileWithoutASignatureGetsALoadCommand) {
    for (const char* cpu : {"arm64", "x86_64"}) {
        const auto file = link(cpu, {});
        EXPECT_THROW((void)readSignedMachO(file), std::runtime_error);
        (void)sign(file);
        EXPECT_THAT(judgeCode(file), SizeIs(1));
        EXPECT_THAT(outputOf("/usr/bin/llvm-objdump-19", {"--macho", "--private-headers", file}),
                    HasSubstr("LC_CODE_SIGNATURE"));
    }
}

TEST_F(MachOSignerTest, AFileWithoutRoomForACommandIsRefusedAndLeftAlone) {
    const auto file = link("arm64", {"-headerpad", "0"});
    const std::string before = readFile(file);
    EXPECT_THROW((void)sign(file), std::runtime_error);
    EXPECT_TRUE(readFile(file) == before);
}

TEST_F(MachOSignerTest, TheInformationListInsideAnExecutableIsSealed) {
    const auto list = directory_ / "Info.plist";
    writeFile(list, "<plist><dict/></plist>");
    const auto file = link("x86_64", {"-sectcreate", "__TEXT", "__info_plist", list});
    (void)sign(file);
    EXPECT_EQ(judgeCode(file, {"1=" + list.string()}).at(0).at("slots"), json({1, 2}));
}

TEST_F(MachOSignerTest, WhatWasSignedIsReadBack) {
    const auto file = copyOf("universal");
    const SignedCode written =
        sign(file, {.identifier = "some.identifier", .hashes = {SignatureHash::sha1, SignatureHash::sha256}});
    const SignedCode found = readSignedMachO(file);
    EXPECT_EQ(found.identifier, "some.identifier");
    EXPECT_FALSE(found.adHoc);
    EXPECT_EQ(found.slices, written.slices);
}

TEST_F(MachOSignerTest, WhatIsNoExecutableIsRefused) {
    const auto file = directory_ / "file";
    for (const char* content : {"", "#!/bin/sh\n", "\xcf\xfa\xed\xfe", "\xca\xfe\xba\xbe\x7f\x7f\x7f\x7f"}) {
        writeFile(file, content);
        EXPECT_THROW((void)sign(file), std::runtime_error);
    }
    EXPECT_FALSE(isMachO(directory_ / "absent"));
    EXPECT_THROW((void)signMachO(copyOf("x64"), nullptr, {}), std::runtime_error);
    EXPECT_THROW((void)sign(directory_ / "Kavio", {.hashes = {}}), std::runtime_error);
}

TEST_F(MachOSignerTest, TheJudgeRefusesAFlippedByte) {
    const auto file = copyOf("arm64");
    (void)sign(file);
    std::string content = readFile(file);
    for (const std::size_t position : {std::size_t{40}, std::size_t{40000}}) {
        std::string damaged = content;
        damaged[position] = static_cast<char>(damaged[position] ^ 1);
        writeFile(file, damaged);
        EXPECT_EQ(judge({"code", file}).status, 1);
    }
}

} // namespace

} // namespace InstallerCore
