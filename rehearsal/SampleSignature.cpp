#include "rehearsal/SampleSignature.h"

#include "rehearsal/SampleApplication.h"
#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/TicketMaker.h"

namespace InstallerCore::Rehearsal {

const SigningIdentity& sampleIdentity() {
    static const SigningIdentity identity = SigningIdentity::load(KAVIO_SAMPLE_IDENTITY);
    return identity;
}

void signSampleApplication(const std::filesystem::path& bundle, const SigningIdentity& identity) {
    signBundle(bundle, &identity);
    stapleTicket(bundle, identity);
    setSampleDates(bundle);
}

} // namespace InstallerCore::Rehearsal
