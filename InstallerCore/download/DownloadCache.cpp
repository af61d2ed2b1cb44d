#include "InstallerCore/download/DownloadCache.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/SystemLog.h"
#include "InstallerCore/support/PlatformError.h"

#include <chrono>
#include <string>

namespace InstallerCore {

namespace {

constexpr std::chrono::seconds expiryAge = std::chrono::days(7);

bool isDownloadName(std::string_view name) {
    if (name.ends_with(validatorSuffix)) {
        name.remove_suffix(validatorSuffix.size());
    }
    return isImageName(name);
}

bool isExpired(const FileAttributes& attributes, WallTime cutOff) {
    return attributes.type != FileType::symbolicLink && attributes.modified && *attributes.modified < cutOff;
}

void removeIfExpired(Directory& cache, const std::string& name, WallTime cutOff) {
    try {
        if (isExpired(cache.attributes(name), cutOff)) {
            cache.remove(name);
        }
    } catch (const PlatformError&) { // NOLINT(bugprone-empty-catch): what cannot go now goes another time
    }
}

// Whether the file is gone afterwards.
bool removeRegularFile(const std::filesystem::path& file, const Platform& platform) {
    try {
        const auto directory = platform.files.openDirectory(file.parent_path());
        if (directory->attributes(file.filename()).type != FileType::regular) {
            return false;
        }
        directory->remove(file.filename());
        return true;
    } catch (const PlatformError& error) {
        if (error.isNoSuchFile()) {
            return true;
        }
        platform.log.write(ErrorText::cacheCleanupDeferred(error.what()));
        return false;
    }
}

bool removeQuietly(const std::filesystem::path& image, std::string_view suffix,
                   const Platform& platform) noexcept {
    try {
        return removeRegularFile(image.string().append(suffix), platform);
    } catch (const std::exception&) { // want of memory
        return false;
    }
}

} // namespace

std::filesystem::path privateCache(const Platform& platform) {
    const std::filesystem::path cache =
        platform.files.homeDirectory() / "Library" / "Caches" / BuildConfig::installerIdentifier;
    platform.files.createDirectory(cache);
    const bool isLink = platform.files.attributes(cache).type == FileType::symbolicLink;
    require(!isLink, ErrorText::unsafeCacheDirectory);
    platform.files.makePrivate(cache);
    return cache;
}

void cleanExpiredDownloads(const std::filesystem::path& cache, const Platform& platform) noexcept {
    const WallTime cutOff = platform.clock.now() - expiryAge;
    try {
        const auto directory = platform.files.openDirectory(cache);
        for (const std::string& name : directory->names()) {
            if (isDownloadName(name)) {
                removeIfExpired(*directory, name, cutOff);
            }
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the sweep is best effort
    }
}

bool isImageName(std::string_view name) {
    constexpr std::string_view extension = ".dmg";
    if (!name.ends_with(extension)) {
        return false;
    }
    name.remove_suffix(extension.size());
    const bool digestLength = name.size() == 64 || name.size() == 128;
    return digestLength && name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool DownloadCache::removeInstalledPackage(const std::filesystem::path& image,
                                           const Platform& platform) noexcept {
    const bool imageGone = removeQuietly(image, "", platform);
    const bool validatorGone = removeQuietly(image, validatorSuffix, platform);
    return imageGone && validatorGone;
}

} // namespace InstallerCore
