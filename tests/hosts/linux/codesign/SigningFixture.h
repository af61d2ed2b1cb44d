#pragma once

#include "hosts/linux/codesign/CmsSignature.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "rehearsal/signing/SigningIdentity.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace InstallerCore::Testing {

// The test identity of this build, and what a verifier knows of it.
class SigningFixture : public ::testing::Test {
protected:
    [[nodiscard]] static CodeSign::Certificate certificate(const Rehearsal::SigningIdentity& identity,
                                                           Rehearsal::Role role) {
        return CodeSign::Certificate(identity.certificate(role));
    }

    const Rehearsal::SigningIdentity identity_ = Rehearsal::SigningIdentity::load(KAVIO_SAMPLE_IDENTITY);
    const CodeSign::TrustRoots roots_ = CodeSign::TrustRoots::fromPem(identity_.rootPem());
    const std::time_t now_ = std::time(nullptr);
};

// The call throws a SignatureError with exactly this text.
template <typename Call>
void expectSignatureError(const std::string& text, Call call) {
    try {
        call();
        ADD_FAILURE() << "no error instead of: " << text;
    } catch (const CodeSign::SignatureError& error) {
        EXPECT_EQ(error.what(), text);
    }
}

} // namespace InstallerCore::Testing
