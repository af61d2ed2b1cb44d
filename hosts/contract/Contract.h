#pragma once

#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/PlatformError.h"

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace InstallerCore::HostContract {

// What is true of the machine, known from elsewhere than its services.
struct Surroundings {
    std::filesystem::path home;
    bool hasArm64 = false;
    std::string runningApplication;    // its bundle identifier
    std::filesystem::path application; // whose signature is valid
    std::string requirement;           // that it meets
    Http& impatient;                   // gives a server up that says nothing for a few seconds
};

// Holds the services against what their interfaces promise, and prints a line for each promise. The services
// must outlive it.
class Contract {
public:
    Contract(const Platform& platform, Surroundings surroundings)
        : platform_(platform), surroundings_(std::move(surroundings)) {}

    [[nodiscard]] const Platform& platform() const { return platform_; }

    [[nodiscard]] const Surroundings& surroundings() const { return surroundings_; }

    void that(const std::string& what, bool holds);

    // The call throws the PlatformError of the code.
    template <typename Code, typename Call>
    void fails(const std::string& what, Code code, Call call) {
        const PlatformError expected(code);
        bool isExpected = false;
        try {
            call();
        } catch (const PlatformError& error) {
            isExpected = error.domain() == expected.domain() && error.code() == expected.code();
        }
        that(what, isExpected);
    }

    // A part of the contract, which may end early by an exception; that is a failure.
    void part(const std::string& name, const std::function<void(Contract&)>& checks);

    // What does not hold.
    [[nodiscard]] const std::vector<std::string>& failures() const { return failures_; }

private:
    const Platform& platform_;
    Surroundings surroundings_;
    std::vector<std::string> failures_;
};

// A directory of its own, gone with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// Empty when it cannot be read.
[[nodiscard]] std::string contentOf(const std::filesystem::path& file);

void checkFiles(Contract& contract);
void checkFolders(Contract& contract);

// These two lead the standard streams of this process elsewhere for a while: not beside other threads.
void checkProcesses(Contract& contract);
void checkDetachedProcesses(Contract& contract);

void checkPropertyLists(Contract& contract);
void checkDigests(Contract& contract);
void checkLanguages(Contract& contract);
void checkSystem(Contract& contract);    // and the log
void checkResources(Contract& contract); // of which resources/ is to be a part
void checkWorkspace(Contract& contract);
void checkCodeSigning(Contract& contract);
void checkHttp(Contract& contract); // on this machine

// The address of a file of at least two bytes, on a server that knows ranges.
void checkDownload(Contract& contract, const std::string& address);

// An address that redirects.
void checkRedirect(Contract& contract, const std::string& address);

} // namespace InstallerCore::HostContract
