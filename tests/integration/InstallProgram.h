#pragma once

// What the program that installs in the tests and the tests themselves agree on.
//
//     install-program ROOT RELEASE
//
// does what the installer does when a user starts it and the image is in the cache: everything that it knows
// of the system lies below ROOT. RELEASE is a directory outside of it with what a server would know.
// One line on standard output says how it ended: "installed", "current" or an error's text; the status is 1
// then.
namespace InstallerCore::Testing::InstallProgram {

// Of this application alone, so that no other test's application is taken for a running one.
inline constexpr const char* bundleIdentifier = "test.mykavio.sweep";

inline constexpr const char* artifactFile = "artifact.json"; // the release to install

inline constexpr const char* installed = "installed";
inline constexpr const char* current = "current";

} // namespace InstallerCore::Testing::InstallProgram
