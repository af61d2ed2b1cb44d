#include "hosts/linux/codesign/BundleLayout.h"

#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/PropertyValue.h"
#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace InstallerCore::CodeSign {

namespace {

constexpr const char* contents = "Contents";
constexpr const char* versions = "Versions";
constexpr const char* current = "Current";
constexpr const char* informationFile = "Info.plist";

// What the Finder and installers leave at the top of a bundle.
constexpr std::array<std::string_view, 4> tolerated = {".DS_Store", ".LSOverride", "Icon\r",
                                                       ".SoftwareDepot.tracking"};

bool isDirectory(const BundleDirectory& directory, const std::string& name) {
    return directory.kind(name) == EntryKind::directory;
}

bool isTolerated(const BundleDirectory& directory, const std::string& name) {
    return std::find(tolerated.begin(), tolerated.end(), name) != tolerated.end() &&
           directory.kind(name) == EntryKind::file;
}

[[noreturn]] void refuse(const BundleDirectory& directory, const std::string& name, const char* rule) {
    throw SignatureError(rule).at(directory.place(name));
}

// The name of the main executable.
std::string executableName(ByteView infoPlist) {
    PropertyValue list;
    try {
        list = PropertyListsLibplist().parse(infoPlist);
    } catch (const PlatformError&) {
        throw SignatureError("is no property list");
    }
    const std::string* const text = textMember(list, "CFBundleExecutable");
    std::string name = text == nullptr ? std::string() : *text;
    demand(!name.empty(), "names no executable");
    demand(name.find('/') == std::string::npos && name.find('\0') == std::string::npos && name != "." &&
               name != "..",
           "names an executable elsewhere");
    return name;
}

// Absent when the directory has none.
std::optional<std::pair<Bytes, std::string>> information(const BundleDirectory& directory) {
    auto content = directory.content(informationFile);
    if (!content) {
        return std::nullopt;
    }
    std::string name = at(directory.place(informationFile), [&] { return executableName(*content); });
    return std::pair(std::move(*content), std::move(name));
}

BundleLayout applicationLayout(const BundleDirectory& bundle) {
    for (const std::string& name : bundle.names()) {
        if (name != contents && !isTolerated(bundle, name)) {
            refuse(bundle, name, "does not belong at the top of a bundle");
        }
    }
    BundleDirectory base = bundle.directory(contents);
    auto found = information(base);
    if (!found) {
        refuse(base, informationFile, "is missing");
    }
    const BundleDirectory folder = base.directory("MacOS");
    auto executable = folder.file(found->second);
    return {.base = std::move(base),
            .infoPlist = std::move(found->first),
            .executablePath = "MacOS/" + found->second,
            .executable = std::move(executable),
            .otherVersions = {}};
}

std::string currentVersion(const BundleDirectory& folder) {
    if (folder.kind(current) != EntryKind::link) {
        refuse(folder, current, "is no link to a version");
    }
    std::string target = folder.target(current);
    const bool isBeside = target.find('/') == std::string::npos && target != "." && target != "..";
    if (!isBeside || !isDirectory(folder, target)) {
        refuse(folder, current, "does not lead to a version beside it");
    }
    return target;
}

void checkFrameworkTop(const BundleDirectory& framework) {
    for (const std::string& name : framework.names()) {
        const bool isExpected =
            name == versions || isTolerated(framework, name) ||
            (framework.kind(name) == EntryKind::link &&
             framework.target(name) == std::string(versions) + "/" + current + "/" + name);
        if (!isExpected) {
            refuse(framework, name, "does not belong at the top of a framework");
        }
    }
}

BundleLayout frameworkLayout(const BundleDirectory& framework) {
    checkFrameworkTop(framework);
    const BundleDirectory folder = framework.directory(versions);
    const std::string version = currentVersion(folder);
    BundleLayout layout = readVersionLayout(folder.directory(version));
    for (const std::string& name : folder.names()) {
        if (isDirectory(folder, name)) {
            if (name != version) {
                layout.otherVersions.push_back(folder.directory(name));
            }
        } else if (name != current && !isTolerated(folder, name)) {
            refuse(folder, name, "does not belong among the versions of a framework");
        }
    }
    return layout;
}

} // namespace

BundleLayout readVersionLayout(const BundleDirectory& version) {
    auto found = isDirectory(version, "Resources") ? information(version.directory("Resources"))
                                                   : std::optional<std::pair<Bytes, std::string>>();
    if (!found) {
        found = information(version);
    }
    if (!found) {
        refuse(version, informationFile, "is missing");
    }
    auto executable = version.file(found->second);
    return {.base = version,
            .infoPlist = std::move(found->first),
            .executablePath = std::move(found->second),
            .executable = std::move(executable),
            .otherVersions = {}};
}

bool looksLikeBundle(const BundleDirectory& directory) {
    return directory.kind(contents) || directory.kind(versions) || directory.kind(informationFile) ||
           directory.kind("Resources");
}

BundleLayout readBundleLayout(const BundleDirectory& bundle) {
    if (bundle.kind(contents)) {
        return applicationLayout(bundle);
    }
    if (bundle.kind(versions)) {
        return frameworkLayout(bundle);
    }
    return readVersionLayout(bundle);
}

} // namespace InstallerCore::CodeSign
