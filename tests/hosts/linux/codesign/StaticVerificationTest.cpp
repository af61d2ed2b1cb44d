#include "hosts/linux/codesign/StaticVerification.h"

#include "hosts/linux/codesign/MachOFile.h"
#include "rehearsal/signing/MachOFile.h"
#include "rehearsal/signing/MachOSigner.h"
#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/MachOBytes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Testing::addFile;
using Testing::readFile;
using Testing::staticRefusal;
using Testing::writeFile;

constexpr const char* executable = "Contents/MacOS/Kavio";

// The signer's options for code by itself.
Rehearsal::CodeOptions codeOptions(const std::string& identifier) {
    Rehearsal::CodeOptions options;
    options.identifier = identifier;
    options.adHoc = true;
    return options;
}

void writeBytes(const fs::path& file, ByteView content) {
    addFile(file, std::string(asText(content)));
}

class StaticVerificationTest : public Testing::BundleFixture {
protected:
    // Of the main executable, in its place or elsewhere.
    [[nodiscard]] static std::string refusal(const std::string& architecture, const std::string& rule) {
        return std::string(executable) + " (" + architecture + "): " + rule;
    }
};

TEST_F(StaticVerificationTest, givesWhatIsProvenOfEachSlice) {
    const fs::path bundle = copy();
    const Rehearsal::SignedCode code = Rehearsal::readSignedMachO(bundle / executable);
    const auto slices = verifyStatic(bundle, nullptr, TrustRoots::apple(), std::time(nullptr));
    ASSERT_EQ(slices.size(), 2U);
    ASSERT_EQ(code.slices.size(), 2U);
    EXPECT_NE(slices[0].architecture, slices[1].architecture);
    for (std::size_t index = 0; index < slices.size(); ++index) {
        EXPECT_EQ(slices[index].subject.identifier, code.identifier);
        EXPECT_EQ(slices[index].subject.cdHash, code.slices[index].at(0).hash);
        EXPECT_FALSE(slices[index].subject.signer);
        EXPECT_EQ(slices[index].hashType, HashType::sha256);
    }
}

TEST_F(StaticVerificationTest, theLastByteOfEachSliceIsSealed) {
    const std::string whole = readFile(copy() / executable);
    for (const MachOSlice& slice : machOSlices(asBytes(whole))) {
        const std::uint64_t last = slice.signatureOffset - 1;
        const std::uint64_t pageSize = slice.architecture == "arm64" ? 16384 : 4096;
        const auto offset = static_cast<std::size_t>(slice.image.data() - asBytes(whole).data()) + last;
        const std::string rule =
            "page " + std::to_string(last / pageSize) + " does not have its sealed SHA-256 hash";
        check({{"a byte", [offset](const fs::path& b) { Testing::flipByte(b / executable, offset); },
                refusal(slice.architecture, rule)}});
    }
}

TEST_F(StaticVerificationTest, anExecutableIsWhole) {
    check({{"cut short",
            [](const fs::path& b) { fs::resize_file(b / executable, fs::file_size(b / executable) - 1); },
            std::string(executable) + ": is cut short"},
           {"with a byte behind it",
            [](const fs::path& b) { fs::resize_file(b / executable, fs::file_size(b / executable) + 1); },
            std::string(executable) + ": has something behind its last architecture"},
           {"empty", [](const fs::path& b) { fs::resize_file(b / executable, 0); },
            std::string(executable) + ": is not signed"}});
}

TEST_F(StaticVerificationTest, everySliceIsSigned) {
    const fs::path signedBundle = copy();
    const fs::path unsignedBundle = unsignedCopy();
    const Bytes good = Rehearsal::readBytes(signedBundle / executable);
    const Bytes bad = Rehearsal::readBytes(unsignedBundle / executable);
    EXPECT_NE(staticRefusal(unsignedBundle), "");
    for (const std::size_t unsignedOne : {0U, 1U}) {
        auto slices = Rehearsal::slicesOf(good);
        // The linker signs for one of the two by itself: no trace of that is left.
        Bytes image(slices.at(unsignedOne).content.begin(), slices.at(unsignedOne).content.end());
        const auto layout = Rehearsal::readLayout(image);
        Testing::put(image, layout.signatureCommand.value(), 0x1B, 4, false);
        slices.at(unsignedOne).content = image;
        writeBytes(signedBundle / executable, Rehearsal::makeUniversal(slices));
        const std::string architecture =
            machOSlices(asBytes(readFile(signedBundle / executable))).at(unsignedOne).architecture;
        EXPECT_EQ(staticRefusal(signedBundle), refusal(architecture, "is not signed"));
    }
}

TEST_F(StaticVerificationTest, whatEverySliceSealsIsUnaltered) {
    const std::string first = machOSlices(asBytes(readFile(copy() / executable))).at(0).architecture;
    check({{"the Info.plist",
            [](const fs::path& b) {
                addFile(b / "Contents/Info.plist", readFile(b / "Contents/Info.plist") + "\n");
            },
            refusal(first, "the Info.plist is not the sealed one")},
           {"the list of seals",
            [](const fs::path& b) {
                const fs::path list = b / "Contents/_CodeSignature/CodeResources";
                addFile(list, readFile(list) + "\n");
            },
            refusal(first, "the list of sealed resources is not the sealed one")}});
}

TEST_F(StaticVerificationTest, theSignatureIsWhereItBelongs) {
    constexpr const char* folder = "Contents/_CodeSignature";
    const auto missing = [](const std::string& place) { return place + ": is missing"; };
    const std::string list = std::string(folder) + "/CodeResources";
    check({{"no folder", [&](const fs::path& b) { fs::remove_all(b / folder); }, missing(folder)},
           {"a link to it",
            [&](const fs::path& b) {
                fs::rename(b / folder, b.parent_path() / "s");
                fs::create_symlink(b.parent_path() / "s", b / folder);
            },
            missing(folder)},
           {"no list", [&](const fs::path& b) { fs::remove(b / list); }, missing(list)},
           {"a link to it", [&](const fs::path& b) { Testing::replaceByLink(b / list); },
            list + ": is no regular file"},
           {"a file beside it", [&](const fs::path& b) { addFile(b / folder / "extra"); },
            std::string(folder) + "/extra: does not belong to the signature"},
           {"what only a script's would have",
            [&](const fs::path& b) { addFile(b / folder / "CodeDirectory"); },
            std::string(folder) + "/CodeDirectory: does not belong to the signature"}});
}

TEST_F(StaticVerificationTest, theTopOfTheBundleIsStrict) {
    check({{"a file", [](const fs::path& b) { addFile(b / "extra"); },
            "extra: does not belong at the top of a bundle"},
           {"what the Finder leaves", [](const fs::path& b) { addFile(b / ".DS_Store"); }, ""}});
}

TEST_F(StaticVerificationTest, ofSeveralFaultsTheSameOneIsReported) {
    const fs::path bundle = copy();
    const MachOSlice slice = machOSlices(asBytes(readFile(bundle / executable))).at(1);
    Testing::flipByte(bundle / "Contents/Resources/Kavio.txt", 0);
    Testing::flipByte(bundle / "Contents/Resources/de.lproj/Localizable.strings", 0);
    fs::remove(bundle / "Contents/Resources/Empty.txt");
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(staticRefusal(bundle), "Contents/Resources/Kavio.txt: does not have its sealed content");
    }
}

TEST_F(StaticVerificationTest, codeMayBeAFile) {
    const fs::path file = copy() / "Contents/Helpers/KavioHelper";
    EXPECT_EQ(staticRefusal(file), "");
    fs::create_symlink(file, directory / "link");
    EXPECT_EQ(staticRefusal(directory / "link"), "");
    EXPECT_EQ(staticRefusal(copy() / executable).find("Kavio (arm64): the Info.plist is sealed, and missing"),
              0U);
}

TEST_F(StaticVerificationTest, whatIsNoCodeIsRefused) {
    addFile(directory / "script", "#!/bin/sh\n");
    addFile(directory / "empty", "");
    fs::create_directory(directory / "folder");
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("missing", directory / "dangling");
    const std::pair<const char*, const char*> paths[] = {{"script", "script: is not signed"},
                                                         {"empty", "empty: is not signed"},
                                                         {"folder", "Info.plist: is missing"},
                                                         {"fifo", "fifo: is no regular file"},
                                                         {"missing", "there is nothing that can be read"},
                                                         {"dangling", "there is nothing that can be read"}};
    for (const auto& [path, refusal] : paths) {
        EXPECT_EQ(staticRefusal(directory / path), refusal);
    }
    EXPECT_EQ(staticRefusal(""), "there is nothing that can be read");
}

TEST_F(StaticVerificationTest, codeByItselfSealsTheInfoPlistInIt) {
    const fs::path file = directory / "code";
    writeBytes(file, Testing::Image().bytes);
    Rehearsal::signMachO(file, nullptr, codeOptions("test.code"));
    EXPECT_EQ(staticRefusal(file), "");
    Testing::flipByte(file, Testing::Image::infoPlist);
    EXPECT_EQ(staticRefusal(file), "code: the Info.plist is not the sealed one");
}

TEST_F(StaticVerificationTest, everySliceMeetsTheRequirement) {
    std::vector<Testing::ListedImage> images = {Testing::listedImage(0x01000007, 3, 0x4000),
                                                Testing::listedImage(0x0100000C, 0, 0x8000)};
    const auto sign = [](Bytes& image, const char* identifier) {
        Rehearsal::SignedCode code;
        image = Rehearsal::signedMachO(image, nullptr, codeOptions(identifier), code);
    };
    sign(images.at(0).image, "test.first");
    sign(images.at(1).image, "test.second");
    writeBytes(directory / "code", Testing::universalFile(images));
    const auto refusalOf = [this](const char* requirement) {
        return staticRefusal(directory / "code", Requirement::compile(requirement));
    };
    EXPECT_EQ(staticRefusal(directory / "code"), "");
    EXPECT_EQ(refusalOf("identifier test.first or identifier test.second"), "");
    EXPECT_EQ(refusalOf("identifier test.first"), "code (arm64): does not meet the requirement");
    EXPECT_EQ(refusalOf("identifier test.second"), "code (x86_64): does not meet the requirement");
}

TEST_F(StaticVerificationTest, aFileThatChangesMeanwhileIsRefusedOrWhole) {
    constexpr const char* resource = "Contents/Linux/Kavio";
    const fs::path bundle = copy();
    const std::string content = readFile(bundle / resource);
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        while (!stop) {
            fs::resize_file(bundle / resource, 0);
            writeFile(bundle / resource, content);
        }
    });
    const std::string place = std::string(resource) + ": ";
    const std::set<std::string> expected = {"", place + "does not have its sealed content",
                                            place + "changed while it was read"};
    for (int round = 0; round < 20; ++round) {
        const std::string refusal = staticRefusal(bundle);
        EXPECT_TRUE(expected.contains(refusal)) << refusal;
    }
    stop = true;
    writer.join();
    EXPECT_EQ(staticRefusal(bundle), "");
}

TEST_F(StaticVerificationTest, noVerdictIsKept) {
    const fs::path bundle = copy();
    const fs::path file = bundle / "Contents/Resources/Kavio.txt";
    const auto time = fs::last_write_time(file);
    EXPECT_EQ(staticRefusal(bundle), "");
    Testing::flipByte(file, 0);
    fs::last_write_time(file, time);
    EXPECT_EQ(staticRefusal(bundle), "Contents/Resources/Kavio.txt: does not have its sealed content");
    Testing::flipByte(file, 0);
    EXPECT_EQ(staticRefusal(bundle), "");
}

} // namespace

} // namespace InstallerCore::CodeSign
