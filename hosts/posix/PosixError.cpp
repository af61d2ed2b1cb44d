#include "hosts/posix/PosixError.h"

#include "InstallerCore/support/PlatformError.h"

#include <cerrno>

namespace InstallerCore {

void throwReadError(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
        throw PlatformError(FileErrorCode::readNoSuchFile);
    case EACCES:
    case EPERM:
        throw PlatformError(FileErrorCode::readNoPermission);
    case ELOOP: // a symbolic link where none is followed
        throw PlatformError(FileErrorCode::notRegularFile);
    default:
        throw PlatformError(FileErrorCode::readUnknown);
    }
}

void throwWriteError(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
        throw PlatformError(FileErrorCode::noSuchFile);
    case EACCES:
    case EPERM:
        throw PlatformError(FileErrorCode::writeNoPermission);
    case ENOSPC:
    case EDQUOT:
        throw PlatformError(FileErrorCode::writeOutOfSpace);
    case EROFS:
        throw PlatformError(FileErrorCode::writeVolumeReadOnly);
    case EEXIST:
        throw PlatformError(FileErrorCode::writeFileExists);
    case ENAMETOOLONG:
        throw PlatformError(FileErrorCode::writeInvalidName);
    case ELOOP:
        throw PlatformError(FileErrorCode::notRegularFile);
    default:
        throw PlatformError(FileErrorCode::writeUnknown);
    }
}

} // namespace InstallerCore
