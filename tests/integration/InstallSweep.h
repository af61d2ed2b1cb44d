#pragma once

#include "tests/integration/InstallRoot.h"
#include "tests/integration/RecoveryTable.h"
#include "tests/integration/SweepScenario.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// How much of a sweep runs: all points, or those of journal writes, renames and removals with a sample of the
// others. Decided by what is linked.
enum class SweepExtent { sampled, whole };
extern const SweepExtent sweepExtent;

// Runs one installation again and again from the same start and lets something happen to it at one call after
// the other; then starts the installer once more, as its user would, and judges what is on the disk both
// times.
class InstallSweep {
public:
    explicit InstallSweep(const SweepScenario& scenario);

    // Kills the installer, the tool, or both before each change of the file system and each end of a process.
    void killEverywhere();

    // Lets each call fail once, with one error that fits it.
    void failEverywhere();

private:
    // A call of the undisturbed installation, found again by its number among its program's.
    struct Point {
        SystemCall call;
        std::size_t number;
    };

    // What one start has done on its way.
    struct Trail {
        std::set<std::filesystem::path> recorded; // staging directories that have had a journal
        bool putBack = false;                     // the previous application was moved back to its place

        void follow(const SystemCall& call);
    };

    [[nodiscard]] Trail freshTrail() const;
    [[nodiscard]] std::vector<Point> pointsOf(TracedEffects effects);
    [[nodiscard]] static std::vector<Point> chosen(std::vector<Point> points, std::size_t sample,
                                                   const std::function<bool(const SystemCall&)>& always);
    void disturb(const Point& point, TracedEffects effects, CallAnswer answer);
    [[nodiscard]] bool counts(const SystemCall& call) const;
    void judge(const TracedEnd& end, const Trail& trail);
    void judgeRecord(const InstallState& state, const Trail& trail) const;
    void startAgain();
    void expectInstalled(const TracedEnd& end) const;
    void expectRefused(const TracedEnd& end, const InstallState& before, const std::string& reason) const;
    [[nodiscard]] const RecoveryRow* rowOf(const InstallState& state) const;
    void report(const char* what, std::size_t points, std::size_t runs) const;
    void expectRowsSeen() const;

    const SweepScenario& scenario_;
    InstallRoot root_;
    std::set<const RecoveryRow*> rowsSeen_; // in which the installations ended
    std::size_t missed_ = 0;                // points that a run did not come to
};

} // namespace InstallerCore::Testing
