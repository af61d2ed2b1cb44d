#include "fuzz/MemoryPlatform.h"

#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/Languages.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/Resources.h"
#include "InstallerCore/platform/Workspace.h"
#include "InstallerCore/support/PlatformError.h"
#include "fuzz/Check.h"

#include <algorithm>

namespace InstallerCore::Fuzz {

namespace {

using Entries = std::map<std::string, Bytes>;

[[noreturn]] void unused(std::string_view operation) {
    check(false, operation);
    std::abort();
}

class MemoryFile final : public FileHandle {
public:
    explicit MemoryFile(Bytes content) : content_(std::move(content)) {}

    std::size_t read(std::span<std::byte> buffer) override {
        // In pieces, as a file system may give them.
        constexpr std::size_t piece = 4'096;
        const std::size_t count = std::min({buffer.size(), content_.size() - position_, piece});
        std::copy_n(content_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer.begin());
        position_ += count;
        return count;
    }

    void write(ByteView) override { unused("no write to a handle"); }

    std::int64_t seekToEnd() override { unused("no seek"); }

    void truncate(std::int64_t) override { unused("no truncation"); }

    void synchronize() override {}

    void close() override {}

private:
    Bytes content_;
    std::size_t position_ = 0;
};

class MemoryDirectory final : public Directory {
public:
    explicit MemoryDirectory(Entries& entries) : entries_(entries) {}

    std::vector<std::string> names() const override {
        std::vector<std::string> result;
        for (const auto& [name, content] : entries_) {
            result.push_back(name);
        }
        return result;
    }

    FileAttributes attributes(const std::string& name) const override {
        return {.type = FileType::regular, .size = std::ssize(existing(name)), .modified = {}};
    }

    void createIfMissing(const std::string& name) noexcept override { entries_.try_emplace(name); }

    std::unique_ptr<FileHandle> open(const std::string& name, FileAccess access) override {
        check(access == FileAccess::read, "files are opened for reading only");
        return std::make_unique<MemoryFile>(existing(name));
    }

    void replace(const std::string& name, ByteView bytes) override {
        entries_[name] = {bytes.begin(), bytes.end()};
    }

    void remove(const std::string& name) override {
        static_cast<void>(existing(name));
        entries_.erase(name);
    }

    std::unique_ptr<FileLock> lock(const std::string&) override { unused("no lock"); }

private:
    const Bytes& existing(const std::string& name) const {
        const auto found = entries_.find(name);
        if (found == entries_.end()) {
            throw PlatformError(FileErrorCode::readNoSuchFile);
        }
        return found->second;
    }

    Entries& entries_;
};

class MemoryFiles final : public Files {
public:
    explicit MemoryFiles(Entries& entries) : entries_(entries) {}

    std::filesystem::path homeDirectory() const override { return "/"; }

    void createDirectory(const std::filesystem::path&) override {}

    FileAttributes attributes(const std::filesystem::path&) const override {
        return {.type = FileType::directory};
    }

    void makePrivate(const std::filesystem::path&) override {}

    std::unique_ptr<Directory> openDirectory(const std::filesystem::path&) override {
        return std::make_unique<MemoryDirectory>(entries_);
    }

    std::unique_ptr<FileHandle> openForReading(const std::filesystem::path&) override {
        unused("no file by its path");
    }

private:
    Entries& entries_;
};

class NoHttp final : public Http {
    std::unique_ptr<HttpTask> start(HttpRequest, HttpDelegate&) override { unused("no request"); }
};

class NoDigests final : public Digests {
    std::unique_ptr<Sha512> sha512() const override { unused("no digest"); }
};

class NoClock final : public Clock {
    WallTime now() const override { unused("no look at the clock"); }

    void sleep(std::chrono::milliseconds) override { unused("no sleep"); }
};

class NoSystemInfo final : public SystemInfo {
    bool hasArm64() const noexcept override { unused("no look at the machine"); }

    SystemVersion version() const noexcept override { unused("no look at the system"); }
};

class NoLog final : public SystemLog {
    void write(std::string_view) noexcept override { unused("no line in the system's log"); }
};

class NoFolders final : public Folders {
    std::unique_ptr<Folder> open(const std::filesystem::path&) const override { unused("no folder"); }

    bool exists(const std::filesystem::path&) const override { unused("no look at a path"); }

    bool isWritable(const std::filesystem::path&) const override { unused("no look at permissions"); }

    std::optional<std::int64_t> availableSpace(const std::filesystem::path&) const override {
        unused("no look at the free space");
    }
};

class NoProcesses final : public Processes {
    ProcessResult run(const std::string&, const std::vector<std::string>&, ErrorOutput) override {
        unused("no tool");
    }

    void startDetached(const std::string&, const std::vector<std::string>&) override { unused("no tool"); }

    std::int64_t ownIdentifier() const noexcept override { unused("no look at the process"); }
};

class NoPropertyLists final : public PropertyLists {
    PropertyValue parse(ByteView) const override { unused("no property list"); }
};

class NoSignatures final : public CodeSigning {
    std::unique_ptr<StaticCode> staticCode(const std::filesystem::path&) const override { unused("no code"); }

    std::unique_ptr<SigningRequirement> requirement(const std::string&) const override { unused("no code"); }
};

class NoWorkspace final : public Workspace {
    bool isRunning(const std::string&) const override { unused("no look at applications"); }
};

class NoLanguages final : public Languages {
    std::vector<std::string> preferred() const override { unused("no words"); }

    std::string percent(double, const std::string&) const override { unused("no words"); }
};

class NoResources final : public Resources {
    std::optional<std::filesystem::path> find(const std::string&, const std::string&) const override {
        unused("no resource");
    }
};

} // namespace

struct MemoryPlatform::Services {
    explicit Services(Entries& entries) : files(entries) {}

    NoHttp http;
    MemoryFiles files;
    NoDigests digests;
    NoClock clock;
    NoSystemInfo system;
    NoLog log;
    NoFolders folders;
    NoProcesses processes;
    NoPropertyLists propertyLists;
    NoSignatures codeSigning;
    NoWorkspace workspace;
    NoLanguages languages;
    NoResources resources;
};

MemoryPlatform::MemoryPlatform()
    : services_(std::make_unique<Services>(entries)),
      platform_{services_->http,          services_->files,       services_->digests,   services_->clock,
                services_->system,        services_->log,         services_->folders,   services_->processes,
                services_->propertyLists, services_->codeSigning, services_->workspace, services_->languages,
                services_->resources} {}

MemoryPlatform::~MemoryPlatform() = default;

} // namespace InstallerCore::Fuzz
