#include "tests/integration/InstallRoot.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/download/HashFile.h"
#include "InstallerCore/feed/Manifest.h"
#include "InstallerCore/install/InstallationJournal.h"
#include "InstallerCore/install/NativeArch.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "hosts/linux/LinuxHost.h"
#include "hosts/posix/Descriptor.h"
#include "hosts/posix/ProcessesPosix.h"
#include "hosts/posix/RemoveTree.h"
#include "rehearsal/SampleImage.h"
#include "rehearsal/SampleSignature.h"
#include "rehearsal/TreeDigest.h"
#include "rehearsal/signing/BundleSigner.h"
#include "tests/integration/InstallProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <ostream>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

constexpr const char* damaged = "damaged";
constexpr const char* refusal = "usr/sbin/spctl-refuses"; // as the tool below has it

// Accepts everything, but for the application in its final place while it is told to refuse that.
constexpr std::string_view policyTool = R"(#!/bin/sh
for application; do :; done
root=${0%/usr/sbin/spctl}
[ "$application" = "$root/Applications/Kavio.app" ] && [ -e "$0-refuses" ] && exit 3
exit 0
)";

// Entries of the user's that no installation may touch, next to those that it makes.
constexpr const char* others[] = {"Applications/Other.app", "Applications/.kavio-install-of-somebody-else",
                                  "Volumes/Backup", "home/Documents", "home/Library/Caches/other"};

void removeAll(const fs::path& tree) {
    const Descriptor parent(::open(tree.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (removeTree(parent.get(), tree.filename()) != 0 && errno != ENOENT) {
        throw std::runtime_error("cannot remove " + tree.string());
    }
}

// What is never written to may be one file in all copies: it keeps its identity.
bool isConstant(const fs::path& file) {
    return file.extension() == ".dmg" || file.parent_path().filename() == "bin";
}

void copyAll(const fs::path& from, const fs::path& to) {
    const fs::file_status status = fs::symlink_status(from);
    if (status.type() == fs::file_type::symlink) {
        fs::copy_symlink(from, to);
    } else if (status.type() == fs::file_type::regular) {
        isConstant(from) ? fs::create_hard_link(from, to) : fs::copy(from, to);
    } else {
        fs::create_directory(to);
        for (const auto& entry : fs::directory_iterator(from)) {
            copyAll(entry.path(), to / entry.path().filename());
        }
        fs::permissions(to, status.permissions());
    }
}

// The one of a process that does nothing but ask for hashes and the architecture.
const Platform& plainPlatform() {
    static const LinuxHost host(fs::path("/"));
    return host.platform();
}

bool isBelow(const fs::path& path, const fs::path& directory) {
    return path.string().starts_with(directory.string() + "/");
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const InstallState& state) {
    return stream << "target \"" << state.target << "\", journal \"" << state.journal << "\", backup \""
                  << state.backup << '"';
}

InstallRoot::InstallRoot() {
    for (const char* const folder : {"usr/bin", "usr/sbin", "Applications", "Volumes"}) {
        fs::create_directories(root_ / folder);
    }
    fs::create_directories(cache());
    installTools();
    for (const char* const other : others) {
        fs::create_directories(root_ / other);
        writeFile(root_ / other / "keep", "the user's own");
    }
    others_ = digestOfOthers();
}

InstallRoot::~InstallRoot() {
    removeAll(root_);
    removeAll(directory_ / "saved");
}

fs::path InstallRoot::cache() const {
    return root_ / "home/Library/Caches" / BuildConfig::installerIdentifier;
}

void InstallRoot::installTools() const {
    fs::copy_file(HDIUTIL, root_ / "usr/bin/hdiutil");
    fs::copy_file(DITTO, root_ / "usr/bin/ditto");
    writeFile(root_ / "usr/sbin/spctl", policyTool);
    fs::permissions(root_ / "usr/sbin/spctl", fs::perms{0755});
}

const InstallRoot::Release& InstallRoot::release(const std::string& version) {
    const auto known = releases_.find(version);
    if (known != releases_.end()) {
        return known->second;
    }
    const fs::path work = directory_ / version;
    fs::create_directory(work);
    const Rehearsal::SampleApplicationOptions options{.version = version,
                                                      .bundleIdentifier = InstallProgram::bundleIdentifier,
                                                      .architectures = {nativeArch(plainPlatform())},
                                                      .small = true};
    const fs::path application = Rehearsal::makeSampleApplication(options, work);
    Rehearsal::signBundle(application, &Rehearsal::sampleIdentity());
    Rehearsal::setSampleDates(application);
    const fs::path volume = work / "volume";
    fs::create_directory(volume);
    copyAll(application, volume / application.filename());
    fs::create_symlink("/Applications", volume / "Applications");
    Rehearsal::setSampleDates(volume);
    Rehearsal::packImage(volume, work / "image.dmg");
    Release made{.digest = Rehearsal::treeDigest(application),
                 .hash = hashFile(work / "image.dmg", plainPlatform())};
    fs::rename(work / "image.dmg", cache() / (made.hash + ".dmg"));
    const Artifact artifact{.platform = "macos",
                            .arch = nativeArch(plainPlatform()),
                            .appVersion = version,
                            .minOSVersion = "12.0.0",
                            .url = "https://dist.mykavio.test/Kavio.dmg",
                            .sizeBytes = 1,
                            .installedSizeBytes = 1,
                            .sha512 = made.hash};
    writeFile(work / InstallProgram::artifactFile, asText(artifact.encode()));
    const auto added = releases_.emplace(version, std::move(made)).first;
    return added->second;
}

void InstallRoot::place(const std::string& version) {
    static_cast<void>(release(version));
    copyAll(directory_ / version / "Kavio.app", root_ / "Applications/Kavio.app");
}

void InstallRoot::offer(const std::string& version) {
    static_cast<void>(release(version));
    offered_ = version;
}

void InstallRoot::refuseInPlace(bool refuse) const {
    refuse ? writeFile(root_ / refusal, "") : static_cast<void>(fs::remove(root_ / refusal));
}

TracedEnd InstallRoot::start() {
    return start(TracedEffects::changes, [](const SystemCall&) { return CallAnswer::proceed(); });
}

TracedEnd InstallRoot::start(TracedEffects effects, const CallWatcher& watcher) {
    return traceProgram(
        {INSTALL_PROGRAM, root_, directory_ / offered_}, effects, [&](const SystemCall& call) {
            for (const fs::path& path : call.paths) {
                EXPECT_TRUE(call.effect != SystemCall::Effect::change || mayChange(call.name, path))
                    << call.text();
            }
            return watcher(call);
        });
}

bool InstallRoot::mayChange(const std::string& call, const fs::path& path) const {
    const fs::path applications = root_ / "Applications";
    const fs::path volumes = root_ / "Volumes";
    if (path == applications || path == volumes) {
        return call == "fsync";
    }
    if (isBelow(cache(), path)) {
        return call == "mkdir"; // of what is there already
    }
    if (isBelow(path, applications)) {
        const std::string entry = path.lexically_relative(applications).begin()->string();
        return entry == StagingDirectory::applicationName || StagingDirectory::isName(entry) ||
               entry.starts_with(".kavio-removed-");
    }
    const fs::path foreign = volumes / "Backup";
    return path == cache() || isBelow(path, cache()) ||
           (isBelow(path, volumes) && path != foreign && !isBelow(path, foreign));
}

std::string InstallRoot::versionOf(const fs::path& application) const {
    if (!fs::exists(fs::symlink_status(application))) {
        return {};
    }
    try {
        const std::string digest = Rehearsal::treeDigest(application);
        for (const auto& [version, release] : releases_) {
            if (digest == release.digest) {
                return version;
            }
        }
    } catch (const fs::filesystem_error&) {
        return damaged;
    }
    return damaged;
}

std::vector<fs::path> InstallRoot::stagingDirectories() const {
    std::vector<fs::path> result;
    for (const auto& entry : fs::directory_iterator(root_ / "Applications")) {
        if (StagingDirectory::isName(entry.path().filename().string())) {
            result.push_back(entry.path());
        }
    }
    return result;
}

InstallState InstallRoot::state() const {
    InstallState state{.target = versionOf(root_ / "Applications/Kavio.app")};
    const auto directories = stagingDirectories();
    EXPECT_LE(directories.size(), 1U) << "the state is about one";
    if (directories.empty()) {
        return state;
    }
    const fs::path& staging = directories.front();
    state.backup = versionOf(staging / StagingDirectory::backupName);
    if (!fs::exists(staging / InstallationJournal::fileName)) {
        state.journal = "no record";
        return state;
    }
    const auto journal =
        InstallationJournal::decode(asBytes(readFile(staging / InstallationJournal::fileName)));
    state.journal = journal.phase ? InstallationJournal::name(*journal.phase) : damaged;
    return state;
}

std::vector<std::string> InstallRoot::mounted() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(root_ / "Volumes")) {
        const std::string name = entry.path().filename().string();
        if (name != "Backup" && name != ".images") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void InstallRoot::detachAll() const {
    for (const std::string& name : mounted()) {
        const ProcessResult result =
            ProcessesPosix().run(root_ / "usr/bin/hdiutil", {"detach", root_ / "Volumes" / name},
                                 Processes::ErrorOutput::inherited);
        EXPECT_EQ(result.status, 0) << name;
    }
}

std::string InstallRoot::digestOfOthers() const {
    std::string digests;
    for (const char* const other : others) {
        digests += Rehearsal::treeDigest(root_ / other) + "\n";
    }
    return digests;
}

void InstallRoot::expectOthersUntouched() const {
    EXPECT_EQ(digestOfOthers(), others_);
}

void InstallRoot::save() {
    removeAll(directory_ / "saved");
    copyAll(root_, directory_ / "saved");
}

void InstallRoot::restore() const {
    removeAll(root_);
    copyAll(directory_ / "saved", root_);
}

} // namespace InstallerCore::Testing
