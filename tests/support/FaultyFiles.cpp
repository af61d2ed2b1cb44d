#include "tests/support/FaultyFiles.h"

#include <utility>

namespace InstallerCore::Testing {

namespace {

class FaultyHandle final : public FileHandle {
public:
    FaultyHandle(std::unique_ptr<FileHandle> real, FaultyFiles& faults)
        : real_(std::move(real)), faults_(faults) {}

    [[nodiscard]] std::size_t read(std::span<std::byte> buffer) override {
        faults_.enter("FileHandle.read");
        return real_->read(buffer);
    }

    void write(ByteView bytes) override {
        faults_.enter("FileHandle.write");
        real_->write(bytes);
    }

    std::int64_t seekToEnd() override {
        faults_.enter("FileHandle.seekToEnd");
        return real_->seekToEnd();
    }

    void truncate(std::int64_t size) override {
        faults_.enter("FileHandle.truncate");
        real_->truncate(size);
    }

    void synchronize() override {
        faults_.enter("FileHandle.synchronize");
        real_->synchronize();
    }

    void close() override {
        faults_.enter("FileHandle.close");
        real_->close();
    }

private:
    std::unique_ptr<FileHandle> real_;
    FaultyFiles& faults_;
};

class FaultyDirectory final : public Directory {
public:
    FaultyDirectory(std::unique_ptr<Directory> owned, FaultyFiles& faults)
        : owned_(std::move(owned)), real_(owned_.get()), faults_(faults) {}

    // Of a directory that somebody else owns.
    FaultyDirectory(Directory& real, FaultyFiles& faults) : real_(&real), faults_(faults) {}

    [[nodiscard]] std::vector<std::string> names() const override {
        faults_.enter("Directory.names");
        return real_->names();
    }

    [[nodiscard]] FileAttributes attributes(const std::string& name) const override {
        faults_.enter("Directory.attributes", name);
        return real_->attributes(name);
    }

    void createIfMissing(const std::string& name) noexcept override {
        try {
            faults_.enter("Directory.createIfMissing", name);
        } catch (const PlatformError&) {
            return; // a failure of this one is silent
        }
        real_->createIfMissing(name);
    }

    [[nodiscard]] std::unique_ptr<FileHandle> open(const std::string& name, FileAccess access) override {
        faults_.enter("Directory.open", name);
        return std::make_unique<FaultyHandle>(real_->open(name, access), faults_);
    }

    void replace(const std::string& name, ByteView bytes) override {
        faults_.enter("Directory.replace", name);
        real_->replace(name, bytes);
    }

    void remove(const std::string& name) override {
        faults_.enter("Directory.remove", name);
        real_->remove(name);
    }

    [[nodiscard]] std::unique_ptr<FileLock> lock(const std::string& name) override {
        faults_.enter("Directory.lock", name);
        return real_->lock(name);
    }

private:
    std::unique_ptr<Directory> owned_;
    Directory* real_;
    FaultyFiles& faults_;
};

class FaultyFolder final : public Folder {
public:
    FaultyFolder(std::unique_ptr<Folder> real, FaultyFiles& faults)
        : real_(std::move(real)), files_(real_->files(), faults), faults_(faults) {}

    [[nodiscard]] Directory& files() override { return files_; }

    [[nodiscard]] bool exists(const std::string& name) const override {
        faults_.announce("Folder.exists", name);
        return real_->exists(name);
    }

    void createFolder(const std::string& name) override {
        faults_.enter("Folder.createFolder", name);
        real_->createFolder(name);
    }

    [[nodiscard]] std::unique_ptr<Folder> openFolder(const std::string& name) const override {
        faults_.enter("Folder.openFolder", name);
        return std::make_unique<FaultyFolder>(real_->openFolder(name), faults_);
    }

    void move(const std::string& name, Folder& target, const std::string& newName) override {
        faults_.enter("Folder.move", name + " " + newName);
        real_->move(name, *dynamic_cast<FaultyFolder&>(target).real_, newName);
    }

    void removeTree(const std::string& name) override {
        faults_.enter("Folder.removeTree", name);
        real_->removeTree(name);
    }

private:
    std::unique_ptr<Folder> real_;
    FaultyDirectory files_;
    FaultyFiles& faults_;
};

} // namespace

void FaultyFiles::failAt(std::string operation, int count, FileErrorCode code) {
    faults_.push_back({.operation = std::move(operation), .remaining = count, .code = code});
}

void FaultyFiles::failAtAny(int count, FileErrorCode code) {
    faults_.push_back({.operation = std::nullopt, .remaining = count, .code = code});
}

std::vector<std::string> FaultyFiles::calls() const {
    const std::lock_guard guard(lock_);
    return calls_;
}

void FaultyFiles::announce(const std::string& operation, const std::string& argument) {
    if (before) {
        before(operation, argument);
    }
    const std::lock_guard guard(lock_);
    calls_.push_back(operation);
}

void FaultyFiles::enter(const std::string& operation, const std::string& argument) {
    announce(operation, argument);
    const std::lock_guard guard(lock_);
    std::optional<FileErrorCode> failure;
    for (Fault& fault : faults_) {
        const bool meant = !fault.operation || *fault.operation == operation;
        if (meant && --fault.remaining == 0) {
            failure = fault.code;
        }
    }
    if (failure) {
        throw PlatformError(*failure);
    }
}

std::filesystem::path FaultyFiles::homeDirectory() const {
    self().enter("Files.homeDirectory");
    return real_.homeDirectory();
}

void FaultyFiles::createDirectory(const std::filesystem::path& path) {
    enter("Files.createDirectory", path);
    real_.createDirectory(path);
}

FileAttributes FaultyFiles::attributes(const std::filesystem::path& path) const {
    self().enter("Files.attributes", path);
    return real_.attributes(path);
}

void FaultyFiles::makePrivate(const std::filesystem::path& directory) {
    enter("Files.makePrivate", directory);
    real_.makePrivate(directory);
}

std::unique_ptr<Directory> FaultyFiles::openDirectory(const std::filesystem::path& path) {
    enter("Files.openDirectory", path);
    return std::make_unique<FaultyDirectory>(real_.openDirectory(path), *this);
}

std::unique_ptr<FileHandle> FaultyFiles::openForReading(const std::filesystem::path& path) {
    enter("Files.openForReading", path);
    return std::make_unique<FaultyHandle>(real_.openForReading(path), *this);
}

std::unique_ptr<Folder> FaultyFolders::open(const std::filesystem::path& path) const {
    faults_.enter("Folders.open", path);
    return std::make_unique<FaultyFolder>(real_.open(path), faults_);
}

bool FaultyFolders::exists(const std::filesystem::path& path) const {
    faults_.announce("Folders.exists", path);
    return real_.exists(path);
}

bool FaultyFolders::isWritable(const std::filesystem::path& path) const {
    faults_.announce("Folders.isWritable", path);
    return real_.isWritable(path);
}

std::optional<std::int64_t> FaultyFolders::availableSpace(const std::filesystem::path& path) const {
    faults_.enter("Folders.availableSpace", path);
    return real_.availableSpace(path);
}

} // namespace InstallerCore::Testing
