#include "tests/hosts/linux/codesign/BundleFixture.h"

#include "hosts/linux/codesign/StaticVerification.h"
#include "rehearsal/SampleApplication.h"
#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <ctime>
#include <memory>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

struct Samples {
    Samples() {
        fs::create_directories(directory / "signed");
        fs::create_directories(directory / "unsigned");
        unsignedBundle = Rehearsal::makeSampleApplication({}, directory / "unsigned");
        signedBundle = Rehearsal::makeSampleApplication({}, directory / "signed");
        Rehearsal::BundleOptions options;
        options.code.adHoc = true;
        Rehearsal::signBundle(signedBundle, nullptr, options);
    }

    TemporaryDirectory directory;
    fs::path unsignedBundle;
    fs::path signedBundle;
};

const Samples& samples() {
    static const Samples samples;
    return samples;
}

void copyTree(const fs::path& from, const fs::path& to) {
    fs::create_directories(to.parent_path());
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

} // namespace

std::string staticRefusal(const fs::path& path, const std::optional<CodeSign::Requirement>& requirement) {
    return refusalOf([&] {
        return CodeSign::verifyStatic(path, requirement ? &*requirement : nullptr,
                                      CodeSign::TrustRoots::apple(), std::time(nullptr));
    });
}

fs::path BundleFixture::copy() {
    const fs::path bundle = directory / std::to_string(copies_++) / "Kavio.app";
    copyTree(samples().signedBundle, bundle);
    return bundle;
}

fs::path BundleFixture::unsignedCopy() {
    const fs::path bundle = directory / std::to_string(copies_++) / "Kavio.app";
    copyTree(samples().unsignedBundle, bundle);
    return bundle;
}

void BundleFixture::check(const std::vector<BundleChange>& changes) {
    for (const auto& [what, make, refusal] : changes) {
        const fs::path bundle = copy();
        make(bundle);
        EXPECT_EQ(staticRefusal(bundle), refusal) << what;
        fs::remove_all(bundle);
    }
}

Rehearsal::BundleOptions BundleFixture::adHoc() {
    Rehearsal::BundleOptions options;
    options.code.adHoc = true;
    return options;
}

void addFile(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    writeFile(file, content);
}

void flipByte(const fs::path& file, std::size_t offset) {
    std::string content = readFile(file);
    content.at(offset) = static_cast<char>(content.at(offset) ^ 1);
    writeFile(file, content);
}

void replaceByLink(const fs::path& entry) {
    const fs::path elsewhere = entry.parent_path() / ".DS_Store"; // which may be anywhere
    fs::rename(entry, elsewhere);
    fs::create_symlink(elsewhere.filename(), entry);
}

std::string informationList(const std::string& executable) {
    return "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>" + executable +
           "</string><key>CFBundleIdentifier</key><string>test.bundle</string></dict></plist>";
}

} // namespace InstallerCore::Testing
