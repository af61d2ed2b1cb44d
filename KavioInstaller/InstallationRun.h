#pragma once

#include "InstallerCore/config/Config.h"
#include "KavioInstaller/CoreOperations.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <utility>

namespace InstallerCore {

// What a run reports on its way; from the thread that it is on.
struct RunReports {
    // At most five times a second, and at the end.
    std::function<void(std::int64_t received, std::int64_t total)> downloading;
    std::function<void()> willInstall; // returns when nobody can close the window any more
    std::function<void(InstallerMessage)> installing;
};

// One run from the feed to an application that is in place: the background's part of the flow.
class InstallationRun {
public:
    // All must outlive the run, but for the flag, which it shares.
    InstallationRun(const Config& config, const CoreOperations& core, CoreOperations::CancelFlag cancellation,
                    CoreOperations::Path directory, RunReports reports)
        : config_(config),
          core_(core),
          cancellation_(std::move(cancellation)),
          directory_(std::move(directory)),
          reports_(std::move(reports)) {}

    struct Result {
        CoreOperations::Path application;
        bool wasCurrent = false; // it was in place, nothing was installed
    };

    // Blocks. Throws what the core threw, once the event that goes with it is recorded.
    [[nodiscard]] Result run();

private:
    [[nodiscard]] Result attempt();
    [[nodiscard]] Artifact chooseArtifact() const;
    void requireSystem(const Artifact& artifact) const;
    void prepare(const CoreOperations::Path& cache, const Artifact& artifact) const;
    void download(const Artifact& artifact, const CoreOperations::Path& image);
    [[nodiscard]] CoreOperations::Path install(const CoreOperations::Path& cache, const Artifact& artifact,
                                               const CoreOperations::Path& image) const;
    void reportDownload(std::int64_t received, std::int64_t total);

    const Config& config_;
    const CoreOperations& core_;
    CoreOperations::CancelFlag cancellation_;
    CoreOperations::Path directory_;
    RunReports reports_;
    double lastReport_ = -std::numeric_limits<double>::infinity();
};

} // namespace InstallerCore
