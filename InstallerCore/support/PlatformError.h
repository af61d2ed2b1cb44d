#pragma once

#include <exception>
#include <string>

namespace InstallerCore {

enum class ErrorDomain {
    urlLoading,
    file,
    propertyList,
    json,
    processLaunch,
};

// Codes of ErrorDomain::urlLoading, numbered as Apple's URL-loading domain numbers them.
enum class UrlErrorCode {
    unknown = -1,
    cancelled = -999,
    timedOut = -1001,
    cannotFindHost = -1003,
    cannotConnect = -1004,
    connectionLost = -1005,
    tooManyRedirects = -1007,
    badServerResponse = -1011,
    secureConnectionFailed = -1200,
    certificateRejected = -1202,
};

// Codes of ErrorDomain::file, numbered as Apple's general error domain numbers them; a negative one is ours.
enum class FileErrorCode {
    noSuchFile = 4,
    readUnknown = 256,
    readNoPermission = 257,
    readNoSuchFile = 260,
    readNotText = 261,
    readTooLarge = 263,
    writeUnknown = 512,
    writeNoPermission = 513,
    writeInvalidName = 514,
    writeFileExists = 516,
    writeOutOfSpace = 640,
    writeVolumeReadOnly = 642,
    notRegularFile = -1,
};

// Codes of ErrorDomain::json.
enum class JsonErrorCode {
    corrupt = 3840,
    keyNotFound = 4865,
    typeMismatch = 4864,
};

// Codes of ErrorDomain::propertyList, numbered as Apple's general error domain numbers them.
enum class PropertyListErrorCode {
    corrupt = 3840,
};

// Codes of ErrorDomain::processLaunch, ours.
enum class ProcessErrorCode {
    cannotLaunch = 1,
    noSuchExecutable = 2,
    notExecutable = 3,
};

// A failure of the system underneath, passed through unchanged. Hosts map errno, library and framework codes
// to this family once; nobody wraps it.
//
// The description never holds a path, a host name or the raw text of the system: the downloader decides
// retries by substrings of descriptions, and a file called "orange.dmg" must not end a download.
class PlatformError : public std::exception {
public:
    // Each of these carries the one fixed description of its code.
    explicit PlatformError(UrlErrorCode code);
    explicit PlatformError(FileErrorCode code);
    explicit PlatformError(PropertyListErrorCode code);
    explicit PlatformError(ProcessErrorCode code);

    // A JSON description may name a key of our own formats.
    PlatformError(JsonErrorCode code, std::string description);

    [[nodiscard]] ErrorDomain domain() const noexcept { return domain_; }

    [[nodiscard]] int code() const noexcept { return code_; }

    [[nodiscard]] bool is(FileErrorCode code) const noexcept;

    // There is no such entry, whether a read or a write found out.
    [[nodiscard]] bool isNoSuchFile() const noexcept;

    // The localized description.
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

private:
    ErrorDomain domain_;
    int code_;
    std::string description_;
};

} // namespace InstallerCore
