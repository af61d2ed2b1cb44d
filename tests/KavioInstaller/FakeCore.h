#pragma once

#include "KavioInstaller/CoreOperations.h"
#include "tests/KavioInstaller/FlowLog.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Stands for every operation of the core. Each one yields when it is called in the background, then logs its
// name and arguments as one line, calls what a test put in its way, and gives the result that is set here.
// The download and the installation yield on their way as well, the download looking at its flag as the real
// one.
class FakeCore {
public:
    using Path = std::filesystem::path;

    struct Report {
        double seconds = 0; // on the fake clock
        std::int64_t received = 0;
        std::int64_t total = 0;
    };

    explicit FakeCore(FlowLog& log) : log_(log) {}

    // Refers to this object.
    [[nodiscard]] CoreOperations operations();

    // Called by every operation whose line begins with the key; throws what the operation is to throw.
    std::map<std::string, std::function<void()>> on;

    // Has every operation whose line begins so throw an InstallerError with the text.
    void fail(const std::string& line, const std::string& text);

    // The same, once.
    void failOnce(const std::string& line, const std::string& text);

    bool isPending = false;
    std::optional<Path> installed; // of any version
    std::optional<Path> current;   // of the release's version
    Artifact artifact{.platform = "macos",
                      .arch = "arm64",
                      .appVersion = "2.0.0",
                      .minOSVersion = "13.0.0",
                      .url = "https://mykavio.test/Kavio-2.0.0-arm64.dmg",
                      .sizeBytes = 1000,
                      .installedSizeBytes = 3000,
                      .sha512 = "5ca1ab1e"};
    SystemVersion system{.major = 14, .minor = 5, .patch = 1};
    bool isWritable = true;
    bool isRemoved = true;
    std::vector<Report> reports; // of the download, each from a thread of its own
    std::vector<InstallerMessage> messages;

    // What the operations were told.
    std::vector<std::string> events; // with the version after a space
    CoreOperations::CancelFlag cancel;
    std::function<void(Cancellation&)> onCancelFlag; // each time that an operation gets one

    bool foundNothing = false; // the first check, the last time

private:
    void act(const std::string& line);
    void pass(const std::string& line); // without a trace in the log
    void callWhatIsInTheWay(const std::string& line);
    void noteFlag(const CoreOperations::CancelFlag& flag);
    void addRecords(CoreOperations& operations);
    void addRelease(CoreOperations& operations);
    void addInstallation(CoreOperations& operations);
    void addSystem(CoreOperations& operations);
    void download(const CoreOperations::CancelFlag& flag, const CoreOperations::DownloadProgress& progress);

    FlowLog& log_;
    double now_ = 0;
};

} // namespace InstallerCore::Testing
