#include "InstallerCore/download/PartialFile.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/platform/ReadText.h"
#include "InstallerCore/support/Ascii.h"
#include "InstallerCore/support/PlatformError.h"

#include <algorithm>

namespace InstallerCore {

namespace {

constexpr std::size_t longestValidator = 65'536;

std::string sidecarName(const std::string& name) {
    return name + std::string(validatorSuffix);
}

std::unique_ptr<FileHandle> openRegularFile(Directory& directory, const std::string& name) {
    require(directory.attributes(name).type == FileType::regular, ErrorText::unsafeCacheFile);
    try {
        return directory.open(name, FileAccess::update);
    } catch (const PlatformError& error) {
        // Swapped since it was looked at.
        require(!error.is(FileErrorCode::notRegularFile), ErrorText::unsafeCacheFile);
        throw;
    }
}

// A control character in it, a line break above all, would make more of the request than one header.
bool canBeHeaderValue(const std::string& text) {
    return !text.empty() && std::none_of(text.begin(), text.end(), Ascii::isControl);
}

} // namespace

PartialFile::PartialFile(Files& files, const std::filesystem::path& file, std::int64_t completeSize)
    : directory_(files.openDirectory(file.parent_path())), name_(file.filename()) {
    directory_->createIfMissing(name_);
    handle_ = openRegularFile(*directory_, name_);
    initialSize_ = handle_->seekToEnd();
    if (initialSize_ > completeSize) {
        restart();
        initialSize_ = 0;
    }
}

std::optional<std::string> PartialFile::validator() const {
    try {
        std::string text = readText(*directory_, sidecarName(name_), longestValidator);
        return canBeHeaderValue(text) ? std::optional(std::move(text)) : std::nullopt;
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

void PartialFile::saveValidator(const std::string& entityTag) {
    directory_->replace(sidecarName(name_), asBytes(entityTag));
}

void PartialFile::restart() {
    handle_->truncate(0);
}

void PartialFile::append(ByteView chunk) {
    handle_->write(chunk);
}

void PartialFile::finish() {
    const auto handle = std::move(handle_);
    handle->synchronize();
    handle->close();
}

} // namespace InstallerCore
