#include "tests/integration/signatures/SampleBundles.h"

#include "rehearsal/SampleApplication.h"
#include "rehearsal/SampleSignature.h"
#include "rehearsal/signing/TicketMaker.h"
#include "tests/integration/signatures/AttributeDamages.h"

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

constexpr const char* entitlements = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>com.apple.security.network.client</key><true/></dict></plist>
)";

Rehearsal::BundleOptions optionsFor(SampleBundles::Size size) {
    constexpr unsigned smallPages = 12;
    Rehearsal::BundleOptions options;
    options.code.entitlements = entitlements;
    options.code.pageSizeBits = smallPages;
    if (size == SampleBundles::Size::full) {
        options.code.hashes = {Rehearsal::SignatureHash::sha1, Rehearsal::SignatureHash::sha256};
    }
    return options;
}

} // namespace

SampleBundles::SampleBundles(Size size)
    : size_(size), stranger_(Rehearsal::SigningIdentity::make({.team = Rehearsal::sampleIdentity().team()})) {
    const Rehearsal::SigningIdentity& own = Rehearsal::sampleIdentity();
    application_ = make("own", "1.0.0", "", own);
    donors_ = {{.name = "another version", .bundle = make("version", "1.0.1", "", own)},
               {.name = "another application", .bundle = make("other", "1.0.0", "test.mykavio.other", own)},
               {.name = "a stranger", .bundle = make("stranger", "1.0.0", "", stranger_)}};
}

fs::path SampleBundles::make(const std::string& name, const std::string& version,
                             const std::string& identifier, const Rehearsal::SigningIdentity& identity) {
    Rehearsal::SampleApplicationOptions options{
        .version = version, .bundleIdentifier = identifier, .small = size_ == Size::small};
    if (size_ == Size::small) {
        options.architectures = {"arm64"};
    }
    fs::create_directory(directory_ / name);
    fs::path bundle = Rehearsal::makeSampleApplication(options, directory_ / name);
    if (size_ == Size::full) {
        addScript(bundle);
    }
    Rehearsal::signBundle(bundle, &identity, optionsFor(size_));
    Rehearsal::stapleTicket(bundle, identity);
    return bundle;
}

void SampleBundles::addScript(const fs::path& bundle) {
    constexpr std::size_t messageSize = 12000; // more than many volumes have room for
    const fs::path file = bundle / script;
    writeFile(file, "#!/bin/sh\necho Kavio\n");
    hasScript_ = keepsAttributes(file, messageSize);
    if (!hasScript_) {
        fs::remove(file);
    }
}

} // namespace InstallerCore::Testing
