#pragma once

#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/PlatformError.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

namespace InstallerCore::MacContract {

// Counts what holds and prints a line for each.
class Contract {
public:
    explicit Contract(const Platform& platform) : platform_(platform) {}

    [[nodiscard]] const Platform& platform() const { return platform_; }

    void that(const std::string& what, bool holds) {
        std::printf("%s %s\n", holds ? "ok    " : "FAILED", what.c_str());
        failures_ += holds ? 0 : 1;
    }

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
    void part(const std::string& name, void (*checks)(Contract&)) {
        std::printf("\n%s\n", name.c_str());
        try {
            checks(*this);
        } catch (const std::exception& error) {
            that(std::string("no exception: ") + error.what(), false);
        }
    }

    [[nodiscard]] int failures() const { return failures_; }

private:
    const Platform& platform_;
    int failures_ = 0;
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

void checkFiles(Contract& contract);
void checkFolders(Contract& contract);
void checkProcesses(Contract& contract);
void checkPropertyLists(Contract& contract);
void checkDigests(Contract& contract);
void checkLanguages(Contract& contract);
void checkSystem(Contract& contract);
void checkWorkspace(Contract& contract);
void checkCodeSigning(Contract& contract);
void checkHttp(Contract& contract);
void checkDownload(Contract& contract, const std::string& address);

} // namespace InstallerCore::MacContract
