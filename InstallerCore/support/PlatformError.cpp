#include "InstallerCore/support/PlatformError.h"

#include <cstdlib>
#include <utility>

namespace InstallerCore {

namespace {

const char* describe(UrlErrorCode code) {
    switch (code) {
    case UrlErrorCode::unknown:
        return "The network transfer failed.";
    case UrlErrorCode::cancelled:
        return "The network transfer was cancelled.";
    case UrlErrorCode::timedOut:
        return "The server did not answer in time.";
    case UrlErrorCode::cannotFindHost:
        return "The name of the server could not be resolved.";
    case UrlErrorCode::cannotConnect:
        return "The server could not be reached.";
    case UrlErrorCode::connectionLost:
        return "The network connection was lost.";
    case UrlErrorCode::tooManyRedirects:
        return "The server redirected too many times.";
    case UrlErrorCode::badServerResponse:
        return "The answer of the server could not be understood.";
    case UrlErrorCode::secureConnectionFailed:
        return "A secure connection could not be made.";
    case UrlErrorCode::certificateRejected:
        return "The certificate of the server is not valid.";
    }
    std::abort();
}

const char* describe(FileErrorCode code) {
    switch (code) {
    case FileErrorCode::noSuchFile:
        return "The file does not exist.";
    case FileErrorCode::readUnknown:
        return "The file could not be read.";
    case FileErrorCode::readNoPermission:
        return "There is no permission to read the file.";
    case FileErrorCode::readNoSuchFile:
        return "The file to be read does not exist.";
    case FileErrorCode::readNotText:
        return "The file is not text in UTF-8.";
    case FileErrorCode::readTooLarge:
        return "The file is too large to be read.";
    case FileErrorCode::writeUnknown:
        return "The file could not be written.";
    case FileErrorCode::writeNoPermission:
        return "There is no permission to write the file.";
    case FileErrorCode::writeInvalidName:
        return "The name of the file cannot be used.";
    case FileErrorCode::writeFileExists:
        return "A file of the same name exists.";
    case FileErrorCode::writeOutOfSpace:
        return "There is not enough free space to write the file.";
    case FileErrorCode::writeVolumeReadOnly:
        return "The volume of the file is read-only.";
    case FileErrorCode::notRegularFile:
        return "The entry is not a regular file.";
    }
    std::abort();
}

const char* describe(PropertyListErrorCode code) {
    switch (code) {
    case PropertyListErrorCode::corrupt:
        return "The property list could not be read.";
    }
    std::abort();
}

const char* describe(ProcessErrorCode code) {
    switch (code) {
    case ProcessErrorCode::cannotLaunch:
        return "The program could not be started.";
    case ProcessErrorCode::noSuchExecutable:
        return "The program does not exist.";
    case ProcessErrorCode::notExecutable:
        return "There is no permission to start the program.";
    }
    std::abort();
}

} // namespace

PlatformError::PlatformError(UrlErrorCode code)
    : domain_(ErrorDomain::urlLoading), code_(static_cast<int>(code)), description_(describe(code)) {}

PlatformError::PlatformError(FileErrorCode code)
    : domain_(ErrorDomain::file), code_(static_cast<int>(code)), description_(describe(code)) {}

PlatformError::PlatformError(PropertyListErrorCode code)
    : domain_(ErrorDomain::propertyList), code_(static_cast<int>(code)), description_(describe(code)) {}

PlatformError::PlatformError(ProcessErrorCode code)
    : domain_(ErrorDomain::processLaunch), code_(static_cast<int>(code)), description_(describe(code)) {}

PlatformError::PlatformError(JsonErrorCode code, std::string description)
    : domain_(ErrorDomain::json), code_(static_cast<int>(code)), description_(std::move(description)) {}

bool PlatformError::is(FileErrorCode code) const noexcept {
    return domain_ == ErrorDomain::file && code_ == static_cast<int>(code);
}

bool PlatformError::isNoSuchFile() const noexcept {
    return is(FileErrorCode::noSuchFile) || is(FileErrorCode::readNoSuchFile);
}

} // namespace InstallerCore
