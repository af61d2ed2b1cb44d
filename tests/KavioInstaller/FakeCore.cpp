#include "tests/KavioInstaller/FakeCore.h"

#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/platform/Files.h"

#include <sstream>
#include <thread>

namespace InstallerCore::Testing {

namespace {

template <typename... Arguments>
std::string lineOf(const char* operation, const Arguments&... arguments) {
    std::ostringstream line;
    line << operation;
    ((line << ' ' << arguments), ...);
    return line.str();
}

std::string text(const FakeCore::Path& path) {
    return path.string();
}

class FakeLock final : public FileLock {
public:
    explicit FakeLock(FlowLog& log) : log_(log) {}

    ~FakeLock() override { log_.add("unlock"); }

private:
    FlowLog& log_;
};

} // namespace

CoreOperations FakeCore::operations() {
    CoreOperations operations;
    addRecords(operations);
    addRelease(operations);
    addInstallation(operations);
    addSystem(operations);
    return operations;
}

void FakeCore::fail(const std::string& line, const std::string& error) {
    on[line] = [error] { throw InstallerError::message(error); };
}

void FakeCore::failOnce(const std::string& line, const std::string& error) {
    on[line] = [error, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            throw InstallerError::message(error);
        }
    };
}

void FakeCore::act(const std::string& line) {
    SteppedThread::yield(line);
    log_.add(line);
    callWhatIsInTheWay(line);
}

void FakeCore::pass(const std::string& line) {
    SteppedThread::yield(line);
    callWhatIsInTheWay(line);
}

void FakeCore::callWhatIsInTheWay(const std::string& line) {
    for (const auto& [beginning, call] : on) {
        if (line.starts_with(beginning)) {
            call();
        }
    }
}

void FakeCore::noteFlag(const CoreOperations::CancelFlag& flag) {
    cancel = flag;
    if (onCancelFlag) {
        onCancelFlag(*flag);
    }
}

void FakeCore::addRecords(CoreOperations& operations) {
    operations.privateCache = [this] {
        act("privateCache");
        return Path("/cache");
    };
    operations.takeInstanceLock = [this](const Path& cache) {
        act(lineOf("takeInstanceLock", text(cache)));
        return std::make_unique<FakeLock>(log_);
    };
    operations.record = [this](const std::string& event, const std::optional<std::string>& version) {
        const std::string entry = event + (version ? ' ' + *version : "");
        act("record " + entry);
        events.push_back(entry);
    };
    operations.shouldResume = [this](const Path& cache, const std::string& channelURL) {
        foundNothing = false;
        act(lineOf("shouldResume", text(cache), channelURL));
        foundNothing = isPending;
        return isPending;
    };
    operations.begin = [this](const Path& cache, const std::string& channelURL) {
        act(lineOf("begin", text(cache), channelURL));
    };
    operations.complete = [this](const Path& cache) { act(lineOf("complete", text(cache))); };
}

void FakeCore::addRelease(CoreOperations& operations) {
    operations.manifest = [this](const CoreOperations::CancelFlag& flag) {
        act("manifest");
        noteFlag(flag);
        flag->check();
        return toBytes("feed");
    };
    operations.readUpdateFeed = [this](ByteView feed) {
        act(lineOf("readUpdateFeed", asText(feed)));
        return Manifest{.artifacts = {artifact}};
    };
    operations.nativeArch = [this] {
        act("nativeArch");
        return std::string("arm64");
    };
    operations.cleanExpiredDownloads = [this](const Path& cache) {
        act(lineOf("cleanExpiredDownloads", text(cache)));
    };
    operations.download = [this](const CoreOperations::CancelFlag& flag, const Artifact& chosen,
                                 const Path& file, const CoreOperations::DownloadProgress& progress) {
        act(lineOf("download", chosen.url, text(file)));
        noteFlag(flag);
        download(flag, progress);
    };
    operations.removeInstalledPackage = [this](const Path& image) {
        act(lineOf("removeInstalledPackage", text(image)));
        return isRemoved;
    };
}

// As the real one does: reports from another thread, and sees at any time that it is to stop.
void FakeCore::download(const CoreOperations::CancelFlag& flag,
                        const CoreOperations::DownloadProgress& progress) {
    flag->check();
    for (const Report& report : reports) {
        now_ = report.seconds;
        std::thread(progress, report.received, report.total).join();
        pass("more of the download");
        flag->check();
    }
    pass("the end of the download"); // the flag is not looked at again
}

void FakeCore::addInstallation(CoreOperations& operations) {
    operations.existing = [this](const Path& directory, const std::optional<std::string>& minimumVersion) {
        act(minimumVersion ? lineOf("existing", text(directory), *minimumVersion)
                           : lineOf("existing", text(directory)));
        if (minimumVersion) {
            return current;
        }
        foundNothing = !installed;
        return installed;
    };
    operations.isWritable = [this](const Path& directory) {
        act(lineOf("isWritable", text(directory)));
        return isWritable;
    };
    operations.checkSpace = [this](const Path& path, std::int64_t bytes) {
        act(lineOf("checkSpace", text(path), bytes));
    };
    operations.recover = [this](const Path& directory, bool launchConfirmed) {
        act(lineOf("recover", text(directory), launchConfirmed ? "confirmed" : "unconfirmed"));
    };
    operations.install = [this](const Path& dmg, const Artifact& chosen, const Path& directory,
                                const CoreOperations::InstallProgress& progress) {
        act(lineOf("install", text(dmg), chosen.appVersion, text(directory)));
        for (const InstallerMessage message : messages) {
            progress(message);
            pass("more of the installation");
        }
        return directory / "Kavio.app";
    };
}

void FakeCore::addSystem(CoreOperations& operations) {
    operations.systemVersion = [this] {
        act("systemVersion");
        return system;
    };
    operations.scheduleEjection = [this](const Path& bundle) {
        act(lineOf("scheduleEjection", text(bundle)));
    };
    operations.log = [this](const std::string& line) { act("log " + line); };
    operations.seconds = [this] { return now_; };
}

} // namespace InstallerCore::Testing
