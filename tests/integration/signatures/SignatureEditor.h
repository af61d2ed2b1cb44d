#pragma once

#include "tests/integration/signatures/CodeMap.h"
#include "tests/integration/signatures/DamageCampaign.h"

#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Writes other signatures into the room of one slice's, and has each judged.
class SignatureEditor {
public:
    SignatureEditor(DamageCampaign& campaign, std::string executable, std::string content,
                    CodeSignaturePlace place)
        : campaign_(campaign),
          executable_(std::move(executable)),
          content_(std::move(content)),
          place_(std::move(place)) {}

    [[nodiscard]] const CodeSignaturePlace& place() const noexcept { return place_; }

    // The CMS message; empty when there is none.
    [[nodiscard]] Bytes message() const;

    // Zeros follow it. Nothing is tried with a signature that does not fit into the room.
    void write(const std::string& kind, const std::string& part, const Bytes& signature);

    void writeMessage(const std::string& kind, const std::string& part, const Bytes& message);

private:
    DamageCampaign& campaign_;
    std::string executable_;
    std::string content_;
    CodeSignaturePlace place_;
};

// One for each slice of the file.
[[nodiscard]] std::vector<SignatureEditor> editorsFor(DamageCampaign& campaign,
                                                      const std::string& executable);

// A super-blob with these blobs in this order, each behind the gap and the blobs before it.
[[nodiscard]] Bytes makeSignature(const Blobs& blobs, const Bytes& gap = {});

} // namespace InstallerCore::Testing
