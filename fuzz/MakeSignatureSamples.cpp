// Makes the signed sample that the targets for signatures start from, and the inputs that are nothing but it.
// Usage: make-signature-samples FUZZ-DIRECTORY, whose samples/ and corpus/ it writes to. The identity that
// signs is made for this and forgotten.
#include "hosts/linux/codesign/CodeSignature.h"
#include "hosts/linux/codesign/MachOFile.h"
#include "hosts/linux/codesign/OpenSsl.h"
#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/TicketMaker.h"
#include "tests/support/TemporaryDirectory.h"

#include <openssl/cms.h>
#include <openssl/objects.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using namespace InstallerCore;
namespace fs = std::filesystem;

class Samples {
public:
    explicit Samples(const fs::path& directory) : directory_(directory) {}

    void make() const {
        const Testing::TemporaryDirectory work;
        const auto identity = Rehearsal::SigningIdentity::make({.team = "SAMPLETEAM"});
        const fs::path bundle = Rehearsal::makeSampleApplication(
            {.bundleIdentifier = "test.mykavio.app", .architectures = {"arm64"}}, work.path());
        Rehearsal::signBundle(
            bundle, &identity,
            {.code = {.hashes = {Rehearsal::SignatureHash::sha1, Rehearsal::SignatureHash::sha256}}});
        file("code-signature", "two-directories", signatureOf(bundle));
        Rehearsal::signBundle(bundle, nullptr, {.code = {.adHoc = true}});
        file("code-signature", "ad-hoc", signatureOf(bundle));

        Rehearsal::signBundle(bundle, &identity);
        Rehearsal::stapleTicket(bundle, identity);
        put("samples/root.pem", identity.rootPem());
        const Bytes whole = signatureOf(bundle);
        file("code-signature", "signed", whole);
        const CodeSign::CodeSignature signature{ByteView(whole)};
        put("samples/code-directory", asText(signature.best().blob()));
        const ByteView cms = signature.blob(CodeSign::Slot::cms)->subspan(CodeSign::blobHeaderSize);
        sampleAndInput("cms", cms);
        takeApart(cms);
        sampleAndInput("ticket", asBytes(Testing::readFile(bundle / "Contents/CodeResources")));
        file("code-resources", "application",
             asBytes(Testing::readFile(bundle / "Contents/_CodeSignature/CodeResources")));
    }

private:
    static Bytes signatureOf(const fs::path& bundle) {
        const std::string executable = Testing::readFile(bundle / "Contents/MacOS/Kavio");
        const ByteView signature = CodeSign::machOSlices(asBytes(executable)).front().signature;
        return {signature.begin(), signature.end()};
    }

    void takeApart(ByteView cms) const {
        const auto message = CodeSign::parseWhole<CMS_ContentInfo_free>(cms, d2i_CMS_ContentInfo);
        CMS_SignerInfo* const signer = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message.get()), 0);
        put("samples/signature-value", asText(CodeSign::content(CMS_SignerInfo_get0_signature(signer))));
        constexpr int onlyOne = -3;
        const auto* const token = static_cast<const ASN1_STRING*>(CMS_unsigned_get0_data_by_OBJ(
            signer, OBJ_nid2obj(NID_id_smime_aa_timeStampToken), onlyOne, V_ASN1_SEQUENCE));
        sampleAndInput("time-stamp", CodeSign::content(token));
    }

    void sampleAndInput(const std::string& name, ByteView content) const {
        put("samples/" + name, asText(content));
        file(name, "good", content);
    }

    void file(const std::string& corpus, const std::string& name, ByteView content) const {
        put(fs::path("corpus") / corpus / name, asText(content));
    }

    void put(const fs::path& name, std::string_view content) const {
        fs::create_directories((directory_ / name).parent_path());
        std::ofstream stream(directory_ / name, std::ios::binary);
        stream << content;
    }

    fs::path directory_;
};

} // namespace

int main(int count, char** values) {
    if (count != 2) {
        std::cerr << "usage: make-signature-samples FUZZ-DIRECTORY\n";
        return 2;
    }
    try {
        Samples(values[1]).make();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "make-signature-samples: " << error.what() << '\n';
        return 1;
    }
}
