#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

namespace InstallerCore::Rehearsal {

struct SampleApplicationOptions {
    std::string version = "1.0.0";
    std::string bundleIdentifier;                           // empty: the one of the configured product
    std::string minimumSystemVersion = "12.0";              // empty: the key is left out
    std::set<std::string> architectures = {"arm64", "x64"}; // at least one of these
    // Folders arm64 and x64 with Kavio, KavioKit and KavioHelper; empty: those that the build made.
    std::filesystem::path executables;
    bool forLinux = true;           // has Contents/Linux; a Mac's application has not
    bool small = false;             // ten entries: no framework, no helper, no payload
    std::uint64_t payloadFiles = 0; // more resources, and their size in all; half of each
    std::uint64_t payloadBytes = 0; // compresses well, the other half not at all
};

// The executables that the build made, as this program was built: folders arm64, x64 and linux.
[[nodiscard]] std::filesystem::path sampleExecutables();

// Makes Kavio.app in the directory: an application bundle with universal executables for macOS, a framework,
// a helper, resources and links, and Contents/Linux/Kavio, which runs on this machine. It is not signed:
// whoever signs it does so after this call. Modes and times do not depend on the caller; the same options
// give the same tree, and another version gives other payload. Returns the path of the bundle. Throws
// std::runtime_error.
std::filesystem::path makeSampleApplication(const SampleApplicationOptions& options,
                                            const std::filesystem::path& directory);

// Gives the tree the one date that all sample files bear, links included; for whoever added to it.
void setSampleDates(const std::filesystem::path& tree);

} // namespace InstallerCore::Rehearsal
