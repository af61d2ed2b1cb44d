#pragma once

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/codesign/TrustRoots.h"

#include <ctime>
#include <string>

// The signed sample that targets for signatures start from, as committed in fuzz/samples: what is unusual in
// an input is then in the input alone. MakeSignatureSamples.cpp makes new ones.
namespace InstallerCore::Fuzz {

// A time at which all of the sample's certificates are valid.
inline constexpr std::time_t sampleTime = 1'795'400'000;

// A file of the folder, whole. Aborts when there is none.
[[nodiscard]] std::string sample(const std::string& name);

// The root of the sample's certificates.
[[nodiscard]] const CodeSign::TrustRoots& sampleRoots();

} // namespace InstallerCore::Fuzz
