#include "InstallerCore/install/Installation.h"

#include "InstallerCore/config/CompareVersion.h"
#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/install/ApplicationMetadata.h"
#include "InstallerCore/install/RunTool.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/platform/Workspace.h"
#include "InstallerCore/support/Split.h"

namespace InstallerCore {

namespace {

std::string signingRequirement(const Config& config) {
    return "anchor apple generic and identifier \"" + config.bundleID +
           "\" and certificate leaf[subject.OU] = \"" + config.macTeamID + "\"";
}

// "12" becomes "12.0.0".
std::string paddedVersion(const std::string& version) {
    constexpr std::size_t components = 3;
    const auto pieces = split(version, '.', EmptyPieces::drop);
    require(!pieces.empty() && pieces.size() <= components, ErrorText::invalidMinimumSystem);
    std::string padded(pieces.front());
    for (std::size_t index = 1; index < components; ++index) {
        padded.append(".").append(index < pieces.size() ? pieces[index] : "0");
    }
    return padded;
}

std::string versionText(const SystemVersion& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

} // namespace

void Installation::verifyApp(const std::filesystem::path& application,
                             const std::string& expectedVersion) const {
    const auto code = platform_.codeSigning.staticCode(application);
    require(code != nullptr, ErrorText::invalidBundle);
    const auto requirement = platform_.codeSigning.requirement(signingRequirement(config_));
    require(requirement != nullptr, ErrorText::invalidRequirement);
    require(code->isValid(*requirement), ErrorText::signatureMismatch);

    const auto metadata = ApplicationMetadata::read(application, platform_);
    require(metadata.bundleID == config_.bundleID, ErrorText::identityMismatch);
    require(metadata.version == expectedVersion, ErrorText::versionMismatch);
    checkMinimumSystem(application);
    run(platform_.paths.spctl, {"--assess", "--type", "execute", application.string()}, platform_);
}

void Installation::checkMinimumSystem(const std::filesystem::path& application) const {
    const PropertyValue list = readInfoPropertyList(application, platform_);
    const std::string* const minimum = textMember(list, "LSMinimumSystemVersion");
    if (minimum != nullptr) {
        const std::string padded = paddedVersion(*minimum);
        require(compareVersion(versionText(platform_.system.version()), padded) >= 0,
                ErrorText::unsupportedSystem);
    }
}

void Installation::checkSpace(const std::filesystem::path& path, std::int64_t bytes) const {
    const auto available = platform_.folders.availableSpace(path);
    require(available.has_value(), ErrorText::cannotReadSpace);
    require(*available >= bytes, ErrorText::notEnoughSpace);
}

void Installation::notRunning() const {
    require(!platform_.workspace.isRunning(config_.bundleID), ErrorText::applicationRunning);
}

std::optional<std::filesystem::path>
Installation::existing(const std::filesystem::path& directory,
                       const std::optional<std::string>& minimumVersion) const {
    auto application = directory / StagingDirectory::applicationName;
    if (!platform_.folders.exists(application)) {
        return std::nullopt;
    }
    const auto metadata = ApplicationMetadata::read(application, platform_);
    require(metadata.bundleID == config_.bundleID, ErrorText::unrelatedApplication);
    if (minimumVersion && compareVersion(metadata.version, *minimumVersion) < 0) {
        return std::nullopt;
    }
    verifyApp(application, metadata.version);
    return application;
}

} // namespace InstallerCore
