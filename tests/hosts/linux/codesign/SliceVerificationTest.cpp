#include "hosts/linux/codesign/SliceVerification.h"

#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/SignatureBytes.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Testing::addFile;
using Testing::directoryOf;
using Testing::DirectoryShape;
using Testing::readFile;

constexpr const char* place = "Contents/MacOS/Code";

// A bundle whose main executable is a script: its signature lies in files, each made by the test.
class SliceVerificationTest : public testing::Test {
protected:
    SliceVerificationTest() {
        addFile(contents / "Info.plist", Testing::informationList("Code"));
        addFile(contents / "MacOS/Code", script);
        addFile(
            signature / "CodeResources",
            R"(<plist version="1.0"><dict><key>files2</key><dict/><key>rules2</key><dict><key>^.*</key><true/>)"
            R"(<key>^Info\.plist$</key><dict><key>omit</key><true/><key>weight</key><real>20</real></dict>)"
            "</dict></dict></plist>");
        sign();
    }

    void write(const std::string& name, ByteView content) {
        addFile(signature / name, std::string(asText(content)));
    }

    // A directory that seals what every bundle has to seal, unless the shape says otherwise.
    [[nodiscard]] Bytes directoryWith(DirectoryShape shape) const {
        shape.specialHashes.emplace(1, hashOf("Info.plist", shape.type));
        shape.specialHashes.emplace(3, hashOf("_CodeSignature/CodeResources", shape.type));
        return directoryOf(asBytes(script), shape);
    }

    void sign(const DirectoryShape& shape = {}) { write("CodeDirectory", directoryWith(shape)); }

    [[nodiscard]] std::string refusal() const { return Testing::staticRefusal(bundle); }

    [[nodiscard]] static std::string withPlace(const std::string& rule) {
        return std::string(place) + ": " + rule;
    }

    const std::string script = "#!/bin/sh\n" + std::string(10'000, '#');
    Testing::TemporaryDirectory directory;
    fs::path bundle = directory / "Kavio.app";
    fs::path contents = bundle / "Contents";
    fs::path signature = contents / "_CodeSignature";

private:
    [[nodiscard]] Bytes hashOf(const char* file, HashType type) const {
        return hash(type, asBytes(readFile(contents / file)));
    }
};

TEST_F(SliceVerificationTest, aSignatureMayLieInFiles) {
    EXPECT_EQ(refusal(), "");
    fs::remove(signature / "CodeDirectory");
    EXPECT_EQ(refusal(), withPlace("is not signed"));
    fs::create_symlink("CodeResources", signature / "CodeDirectory");
    EXPECT_EQ(refusal(), withPlace("Contents/_CodeSignature/CodeDirectory: is no regular file"));
}

TEST_F(SliceVerificationTest, aFlatBundleIsSealedAsAWhole) {
    const fs::path flat = directory / "Flat.bundle";
    fs::rename(contents, flat);
    fs::rename(flat / "MacOS/Code", flat / "Code");
    EXPECT_EQ(Testing::staticRefusal(flat), "");
    addFile(flat / "Contents.txt");
    EXPECT_EQ(Testing::staticRefusal(flat), "Contents.txt: is there, and not sealed");
    fs::remove(flat / "Contents.txt");
    Testing::flipByte(flat / "Code", 5000);
    EXPECT_EQ(Testing::staticRefusal(flat), "Code: page 1 does not have its sealed SHA-256 hash");
}

TEST_F(SliceVerificationTest, everyPageHasItsHash) {
    const struct {
        std::size_t offset;
        unsigned pageBits;
        HashType type;
        const char* rule;
    } changes[] = {
        {0, 12, HashType::sha256, "page 0 does not have its sealed SHA-256 hash"},
        {4095, 12, HashType::sha1, "page 0 does not have its sealed SHA-1 hash"},
        {4096, 12, HashType::sha384, "page 1 does not have its sealed SHA-384 hash"},
        {10'009, 12, HashType::sha256Truncated, "page 2 does not have its sealed truncated SHA-256 hash"},
        {10'009, 14, HashType::sha256, "page 0 does not have its sealed SHA-256 hash"},
        {10'009, 0, HashType::sha256, "page 0 does not have its sealed SHA-256 hash"},
    };

    for (const auto& [offset, pageBits, type, rule] : changes) {
        addFile(contents / "MacOS/Code", script);
        sign({.type = type, .pageBits = pageBits});
        EXPECT_EQ(refusal(), "");
        Testing::flipByte(contents / "MacOS/Code", offset);
        EXPECT_EQ(refusal(), withPlace(rule));
    }
}

TEST_F(SliceVerificationTest, thePagesOfEveryDirectoryCount) {
    write("CodeRequirements-1", directoryWith({.type = HashType::sha384}));
    EXPECT_EQ(refusal(), "");
    Bytes weaker = directoryWith({.type = HashType::sha1});
    weaker.back() ^= std::byte{1};
    write("CodeRequirements-1", weaker);
    EXPECT_EQ(refusal(), withPlace("page 2 does not have its sealed SHA-1 hash"));
}

TEST_F(SliceVerificationTest, allOfTheCodeIsCovered) {
    constexpr const char* rule = "the code directory covers more or less than the code";
    addFile(contents / "MacOS/Code", script + "#");
    EXPECT_EQ(refusal(), withPlace(rule));
    addFile(contents / "MacOS/Code", script.substr(1));
    EXPECT_EQ(refusal(), withPlace(rule));
    addFile(contents / "MacOS/Code", "");
    EXPECT_EQ(refusal(), withPlace(rule));
}

TEST_F(SliceVerificationTest, whatIsSealedIsThere) {
    const Bytes anything(32, std::byte{1});
    const std::pair<std::uint32_t, const char*> slots[] = {
        {2, "the set of requirements is sealed, and missing"},
        {4, "the component in slot -4 is sealed, and missing"},
        {5, "the set of entitlements is sealed, and missing"},
        {6, "the component in slot -6 is sealed, and missing"},
        {7, "the component in slot -7 is sealed, and missing"},
        {11, "the component in slot -11 is sealed, and missing"},
    };
    for (const auto& [slot, rule] : slots) {
        sign({.specialHashes = {{slot, anything}}});
        EXPECT_EQ(refusal(), withPlace(rule));
    }
}

TEST_F(SliceVerificationTest, whatIsSealedIsUnaltered) {
    const Bytes anything(32, std::byte{1});

    const struct {
        std::uint32_t slot;
        const char* file;
        const char* rule;
    } slots[] = {
        {1, "", "the Info.plist is not the sealed one"},
        {2, "CodeRequirements", "the set of requirements is not the sealed one"},
        {3, "", "the list of sealed resources is not the sealed one"},
        {5, "CodeEntitlements", "the set of entitlements is not the sealed one"},
        {6, "CodeRepSpecific", "the component in slot -6 is not the sealed one"},
    };

    for (const auto& [slot, file, rule] : slots) {
        sign({.specialHashes = {{slot, anything}}});
        if (*file != '\0') {
            addFile(signature / file, "content");
        }
        EXPECT_EQ(refusal(), withPlace(rule));
        if (*file != '\0') {
            sign({.specialHashes = {{slot, hash(HashType::sha256, asBytes("content"))}}});
            EXPECT_EQ(refusal(), "") << slot;
            fs::remove(signature / file);
        }
    }
}

TEST_F(SliceVerificationTest, whatIsNotSealedIsIgnored) {
    addFile(signature / "CodeEntitlements", "content");
    EXPECT_EQ(refusal(), "");
    sign({.specialHashes = {{5, Bytes(32)}}}); // zeros say the same
    EXPECT_EQ(refusal(), "");
}

TEST_F(SliceVerificationTest, aBundleSealsItsInfoPlistAndItsResources) {
    sign({.specialHashes = {{1, Bytes(32)}}});
    EXPECT_EQ(refusal(), withPlace("the Info.plist is not sealed"));
    sign({.specialHashes = {{3, Bytes(32)}}});
    EXPECT_EQ(refusal(), withPlace("the list of sealed resources is not sealed itself"));
}

TEST_F(SliceVerificationTest, theStrongestDirectoryIsAskedForWhatIsSealed) {
    const DirectoryShape wrong{.type = HashType::sha1, .specialHashes = {{1, Bytes(20, std::byte{1})}}};
    write("CodeRequirements-1", directoryWith(wrong));
    EXPECT_EQ(refusal(), "");
    DirectoryShape stronger{.type = HashType::sha384, .specialHashes = {{1, Bytes(48, std::byte{1})}}};
    write("CodeRequirements-1", directoryWith(stronger));
    EXPECT_EQ(refusal(), withPlace("the Info.plist is not the sealed one"));
}

TEST_F(SliceVerificationTest, nothingElseIsBesideTheSignature) {
    for (const char* const name : {"extra", "CodeRequirements-2", ".DS_Store", "CodeEntitlementDER"}) {
        addFile(signature / name);
        EXPECT_EQ(refusal(),
                  std::string("Contents/_CodeSignature/") + name + ": does not belong to the signature");
        fs::remove(signature / name);
    }
    fs::create_directory(signature / "folder");
    EXPECT_EQ(refusal(), "Contents/_CodeSignature/folder: does not belong to the signature");
}

TEST_F(SliceVerificationTest, onlyAnAdHocSignatureHasNoSigner) {
    sign({.flags = 0});
    EXPECT_EQ(refusal(), withPlace("the signature names no signer"));
    sign({.flags = CodeDirectory::runtime | CodeDirectory::adHoc});
    EXPECT_EQ(refusal(), "");
}

TEST_F(SliceVerificationTest, theRequirementIsMet) {
    EXPECT_EQ(Testing::staticRefusal(bundle, Requirement::compile("identifier \"test.code\"")), "");
    EXPECT_EQ(Testing::staticRefusal(bundle, Requirement::compile("identifier \"test.other\"")),
              withPlace("does not meet the requirement"));
    EXPECT_EQ(Testing::staticRefusal(bundle, Requirement::compile("anchor apple generic")),
              withPlace("does not meet the requirement"));
}

TEST_F(SliceVerificationTest, resourcesHaveASealForEachHash) {
    addFile(contents / "Resources/file", "content");
    const auto seal = [this](const std::string& hashes) {
        std::string list = readFile(signature / "CodeResources");
        const std::string files = "<key>files2</key><dict";
        const std::size_t begin = list.find(files) + files.size();
        list.replace(begin, list.find("<key>rules2") - begin,
                     "><key>Resources/file</key><dict>" + hashes + "</dict></dict>");
        addFile(signature / "CodeResources", list);
        sign();
        write("CodeRequirements-1", directoryWith({.type = HashType::sha1}));
    };
    constexpr const char* sha1 = "<key>hash</key><data>BA8G/XdAkkeNRQd09bowxdp4rMg=</data>";
    constexpr const char* sha256 =
        "<key>hash2</key><data>7XACtDnprIRfIjV9giusFERzD722AW0+yUMil7nsn3M=</data>";
    constexpr const char* filePlace = "Contents/Resources/file: ";
    seal(sha256);
    EXPECT_EQ(refusal(), std::string(filePlace) + "has no seal for each hash of the signature");
    fs::remove(signature / "CodeRequirements-1");
    EXPECT_EQ(refusal(), "");
    seal(sha1);
    EXPECT_EQ(refusal(), std::string(filePlace) + "has no seal for each hash of the signature");
    seal(std::string(sha1) + sha256);
    EXPECT_EQ(refusal(), "");
}

} // namespace

} // namespace InstallerCore::CodeSign
