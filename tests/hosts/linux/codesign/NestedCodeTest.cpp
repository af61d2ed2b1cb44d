#include "hosts/linux/codesign/StaticVerification.h"
#include "rehearsal/signing/MachOSigner.h"
#include "tests/hosts/linux/codesign/BundleFixture.h"
#include "tests/hosts/linux/codesign/MachOBytes.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace InstallerCore::CodeSign {

namespace {

namespace fs = std::filesystem;
using Testing::addFile;
using Testing::flipByte;
using Testing::readFile;
using Testing::staticRefusal;

constexpr const char* framework = "Contents/Frameworks/KavioKit.framework";
constexpr const char* version = "Contents/Frameworks/KavioKit.framework/Versions/A";
constexpr const char* helper = "Contents/Helpers/KavioHelper";

// The smallest code that can be signed.
void addCode(const fs::path& file) {
    addFile(file, std::string(asText(Testing::Image().bytes)));
}

void addApplication(const fs::path& bundle) {
    addFile(bundle / "Contents/Info.plist", Testing::informationList("Code"));
    addCode(bundle / "Contents/MacOS/Code");
}

// Signed by itself: not what the seal asks for.
void signAgain(const fs::path& path, const std::string& identifier) {
    Rehearsal::BundleOptions options;
    options.code.adHoc = true;
    options.code.identifier = identifier;
    Rehearsal::sign(path, nullptr, options);
}

class NestedCodeTest : public Testing::BundleFixture {};

TEST_F(NestedCodeTest, isVerifiedLikeAnyOther) {
    const std::string inVersion = std::string(version) + "/";
    check({{"a page", [](const fs::path& b) { flipByte(b / helper, 0x5000); },
            std::string(helper) + " (arm64): page 0 does not have its sealed SHA-256 hash"},
           {"its resources", [](const fs::path& b) { addFile(b / version / "Resources/extra"); },
            inVersion + "Resources/extra: is there, and not sealed"},
           {"its list of seals",
            [](const fs::path& b) { fs::remove(b / version / "_CodeSignature/CodeResources"); },
            inVersion + "_CodeSignature/CodeResources: is missing"},
           {"the folder of its signature",
            [](const fs::path& b) { fs::remove_all(b / version / "_CodeSignature"); },
            inVersion + "_CodeSignature: is missing"},
           {"its code", [](const fs::path& b) { addFile(b / version / "KavioKit"); },
            inVersion + "KavioKit: is not signed"},
           {"its top", [](const fs::path& b) { addFile(b / framework / "extra"); },
            std::string(framework) + "/extra: does not belong at the top of a framework"},
           {"its current version",
            [](const fs::path& b) {
                fs::remove(b / framework / "Versions/Current");
                fs::create_symlink("../Versions/A", b / framework / "Versions/Current");
            },
            std::string(framework) + "/Versions/Current: does not lead to a version beside it"},
           {"a file where a bundle was",
            [](const fs::path& b) {
                fs::remove_all(b / framework);
                addFile(b / framework);
            },
            std::string(framework) + ": is not signed"},
           {"a bundle where a file was",
            [](const fs::path& b) {
                fs::remove(b / helper);
                fs::create_directory(b / helper);
            },
            std::string(helper) + "/Info.plist: is missing"}});
}

TEST_F(NestedCodeTest, meetsTheRequirementOfItsSeal) {
    check({{"another program", [](const fs::path& b) { signAgain(b / helper, "test.other"); },
            std::string(helper) + " (arm64): does not meet the requirement"},
           {"another framework", [](const fs::path& b) { signAgain(b / framework, "test.other"); },
            std::string(version) + "/KavioKit (arm64): does not meet the requirement"}});
}

TEST_F(NestedCodeTest, theRequirementIsThatOfTheSeal) {
    const std::pair<const char*, std::string> requirements[] = {
        {"always", ""},
        {"never", std::string(version) + "/KavioKit (arm64): does not meet the requirement"},
        {"identifier", std::string(framework) + ": has a sealed requirement that cannot be understood"},
        {"", std::string(framework) + ": has a sealed requirement that cannot be understood"},
    };
    for (const auto& [text, refusal] : requirements) {
        const fs::path bundle = unsignedCopy();
        Rehearsal::BundleOptions options = adHoc();
        options.nestedRequirement = text;
        Rehearsal::signBundle(bundle, nullptr, options);
        EXPECT_EQ(staticRefusal(bundle), refusal) << text;
    }
}

class FrameworkVersionsTest : public Testing::BundleFixture {
protected:
    // With a second version beside the current one, which has that property list.
    [[nodiscard]] fs::path signedBundle(const std::string& requirement, const std::string& list) {
        const fs::path bundle = unsignedCopy();
        fs::copy(bundle / version, bundle / framework / "Versions/B", fs::copy_options::recursive);
        addFile(bundle / other / "Resources/file");
        addFile(bundle / other / "Resources/Info.plist", list);
        Rehearsal::BundleOptions options = adHoc();
        options.nestedRequirement = requirement;
        Rehearsal::signBundle(bundle, nullptr, options);
        return bundle;
    }

    const fs::path other = fs::path(framework) / "Versions/B";
};

TEST_F(FrameworkVersionsTest, allOfThemAreVerified) {
    const fs::path bundle = signedBundle("always", Testing::informationList("KavioKit"));
    EXPECT_EQ(staticRefusal(bundle), "");
    flipByte(bundle / other / "Resources/file", 0);
    EXPECT_EQ(staticRefusal(bundle),
              (other / "Resources/file").string() + ": does not have its sealed content");
    fs::remove_all(bundle / other / "_CodeSignature");
    EXPECT_EQ(staticRefusal(bundle), (other / "_CodeSignature").string() + ": is missing");
    fs::remove_all(bundle / other);
    EXPECT_EQ(staticRefusal(bundle), "");
    fs::create_directory(bundle / other);
    EXPECT_EQ(staticRefusal(bundle), (other / "Info.plist").string() + ": is missing");
}

TEST_F(FrameworkVersionsTest, allOfThemMeetTheRequirement) {
    const std::string list = Testing::informationList("KavioKit"); // whose identifier is test.bundle
    EXPECT_EQ(staticRefusal(signedBundle("!identifier test.bundle", list)),
              (other / "KavioKit").string() + " (arm64): does not meet the requirement");
    EXPECT_EQ(staticRefusal(signedBundle("!identifier test.other", list)), "");
}

TEST_F(NestedCodeTest, hasADeepestLevel) {
    for (const unsigned levels : {16U, 17U}) {
        const fs::path bundle = directory / (std::to_string(levels) + ".app");
        fs::path inner = bundle;
        fs::path place;
        addApplication(inner);
        for (unsigned level = 0; level < levels; ++level) {
            inner /= "Contents/Helpers/H.app";
            place /= "Contents/Helpers/H.app";
            addApplication(inner);
        }
        Rehearsal::signBundle(bundle, nullptr, adHoc());
        EXPECT_EQ(staticRefusal(bundle), levels == 16 ? "" : place.string() + ": is nested too deep");
    }
}

TEST_F(NestedCodeTest, aScriptKeepsItsSignatureInAttributes) {
    const fs::path bundle = unsignedCopy();
    const fs::path script = "Contents/Helpers/script.sh";
    addFile(bundle / script, "#!/bin/sh\n");
    if (::setxattr((bundle / script).c_str(), "user.test", "", 0, 0) != 0) {
        GTEST_SKIP() << "no extended attributes in this file system";
    }
    Rehearsal::signBundle(bundle, nullptr, adHoc());
    EXPECT_EQ(staticRefusal(bundle), "");
    const fs::path file = bundle / script;
    flipByte(file, 0);
    EXPECT_EQ(staticRefusal(bundle), script.string() + ": page 0 does not have its sealed SHA-256 hash");
    flipByte(file, 0);
    Rehearsal::BundleOptions options = adHoc();
    options.code.identifier = "test.other";
    Rehearsal::sign(file, nullptr, options);
    EXPECT_EQ(staticRefusal(bundle), script.string() + ": does not meet the requirement");
    ASSERT_EQ(::removexattr(file.c_str(), "user.com.apple.cs.CodeDirectory"), 0);
    EXPECT_EQ(staticRefusal(bundle), script.string() + ": is not signed");
}

} // namespace

} // namespace InstallerCore::CodeSign
