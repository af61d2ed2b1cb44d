#include "rehearsal/SampleSignature.h"

#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/TicketMaker.h"

namespace InstallerCore::Rehearsal {

const SigningIdentity& sampleIdentity() {
    static const SigningIdentity identity = SigningIdentity::load(KAVIO_SAMPLE_IDENTITY);
    return identity;
}

void signSampleApplication(const std::filesystem::path& bundle) {
    signBundle(bundle, &sampleIdentity());
    stapleTicket(bundle, sampleIdentity());
    setSampleDates(bundle);
}

} // namespace InstallerCore::Rehearsal
