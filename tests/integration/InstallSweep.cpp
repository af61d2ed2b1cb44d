#include "tests/integration/InstallSweep.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/install/InstallationJournal.h"
#include "InstallerCore/install/StagingDirectory.h"
#include "InstallerCore/support/PlatformError.h"
#include "tests/integration/InstallProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <iterator>
#include <random>
#include <string_view>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;
using Effect = SystemCall::Effect;
using testing::HasSubstr;

constexpr const char* newVersion = SweepScenario::offered;
constexpr unsigned sampleNumber = 20'260'101; // what the sample is drawn with; any number will do

// Writing of the journal, and every renaming and removal.
bool isKey(const SystemCall& call) {
    static constexpr std::array<std::string_view, 6> names{"rename", "renameat", "renameat2",
                                                           "unlink", "unlinkat", "rmdir"};
    const bool isJournal = std::any_of(call.paths.begin(), call.paths.end(), [](const fs::path& path) {
        return path.filename().string().find(InstallationJournal::fileName) != std::string::npos;
    });
    return isJournal || std::find(names.begin(), names.end(), call.name) != names.end();
}

// One that the system could give for the call.
int fittingError(const SystemCall& call) {
    static const std::map<std::string_view, int> errors{
        {"write", ENOSPC},           {"pwrite64", ENOSPC}, {"writev", ENOSPC},    {"pwritev", ENOSPC},
        {"mkdir", ENOSPC},           {"mkdirat", ENOSPC},  {"symlink", ENOSPC},   {"symlinkat", ENOSPC},
        {"fallocate", ENOSPC},       {"setxattr", ENOSPC}, {"lsetxattr", ENOSPC}, {"fsetxattr", ENOSPC},
        {"sendfile", ENOSPC},        {"fsync", EIO},       {"fdatasync", EIO},    {"syncfs", EIO},
        {"ftruncate", EIO},          {"read", EIO},        {"pread64", EIO},      {"readv", EIO},
        {"getdents64", EIO},         {"readlink", EIO},    {"readlinkat", EIO},   {"getxattr", EIO},
        {"lgetxattr", EIO},          {"fgetxattr", EIO},   {"listxattr", EIO},    {"llistxattr", EIO},
        {"flistxattr", EIO},         {"statfs", EIO},      {"fstatfs", EIO},      {"fstat", EIO},
        {"flock", ENOLCK},           {"fchmod", EPERM},    {"fchmodat", EPERM},   {"fchown", EPERM},
        {"fchownat", EPERM},         {"utimensat", EPERM}, {"chmod", EPERM},      {"ioctl", EIO},
        {"copy_file_range", ENOSPC},
    };
    const bool creates = call.effect == Effect::change && call.name.starts_with("open");
    const auto known = errors.find(call.name);
    return creates ? ENOSPC : known == errors.end() ? EACCES : known->second;
}

// Whoever can be killed with the program at the call.
std::vector<Victims> victimsAt(const SystemCall& call) {
    if (call.byFirst) {
        return {Victims::first};
    }
    std::vector<Victims> victims{Victims::first, Victims::others, Victims::all};
    if (call.program == "7zz") { // which works for the disk-image tool
        victims.push_back(Victims::caller);
    }
    return victims;
}

const char* nameOf(Victims victims) {
    switch (victims) {
    case Victims::first:
        return "the installer";
    case Victims::others:
        return "the tool";
    case Victims::all:
        return "both";
    case Victims::caller:
        return "the tool's unpacker";
    }
    return "";
}

std::string word(const std::string& version, const std::string& previous) {
    return version.empty()         ? "none"
           : version == newVersion ? "new"
           : version == previous   ? "previous"
                                   : version;
}

} // namespace

InstallSweep::InstallSweep(const SweepScenario& scenario) : scenario_(scenario) {
    scenario.arrange(root_);
    root_.refuseInPlace(scenario.refusedInPlace);
    root_.save();
}

void InstallSweep::killEverywhere() {
    constexpr std::size_t sample = 6;
    const auto all = pointsOf(TracedEffects::changes);
    std::size_t runs = 0;
    for (const Point& point : chosen(all, sample, [this](const SystemCall& call) {
             return (call.byFirst || scenario_.tools) && isKey(call);
         })) {
        for (const Victims victims : victimsAt(point.call)) {
            const testing::ScopedTrace trace(__FILE__, __LINE__,
                                             std::string(nameOf(victims)) + " killed before number " +
                                                 std::to_string(point.number) + " of " + point.call.text());
            disturb(point, TracedEffects::changes, CallAnswer::kill(victims));
            ++runs;
        }
    }
    report("kill", all.size(), runs);
    expectRowsSeen();
}

void InstallSweep::failEverywhere() {
    constexpr std::size_t sample = 16;
    auto all = pointsOf(TracedEffects::changesAndLooks);
    std::erase_if(all, [](const Point& point) { return point.call.effect == Effect::end; });
    const auto points = chosen(all, sample, [](const SystemCall&) { return false; });
    for (const Point& point : points) {
        const int error = fittingError(point.call);
        const testing::ScopedTrace trace(__FILE__, __LINE__,
                                         "errno " + std::to_string(error) + " for number " +
                                             std::to_string(point.number) + " of " + point.call.text());
        disturb(point, TracedEffects::changesAndLooks, CallAnswer::fail(error));
    }
    report("failure", all.size(), points.size());
}

bool InstallSweep::counts(const SystemCall& call) const {
    const std::string inside = root_.path().string() + "/";
    return call.effect == Effect::end ||
           std::any_of(call.paths.begin(), call.paths.end(),
                       [&](const auto& path) { return path.string().starts_with(inside); });
}

void InstallSweep::Trail::follow(const SystemCall& call) {
    if (call.paths.size() == 2 && call.paths.back().filename() == InstallationJournal::fileName) {
        recorded.insert(call.paths.back().parent_path());
    }
    putBack =
        putBack || (call.paths.size() == 2 && call.paths.front().filename() == StagingDirectory::backupName);
}

InstallSweep::Trail InstallSweep::freshTrail() const {
    Trail trail;
    for (const fs::path& directory : root_.stagingDirectories()) {
        if (fs::exists(directory / InstallationJournal::fileName)) {
            trail.recorded.insert(directory);
        }
    }
    return trail;
}

std::vector<InstallSweep::Point> InstallSweep::pointsOf(TracedEffects effects) {
    std::vector<Point> points;
    Trail trail = freshTrail();
    std::map<std::string, std::size_t> numbers;
    const TracedEnd end = root_.start(effects, [&](const SystemCall& call) {
        if (counts(call)) {
            points.push_back({.call = call, .number = numbers[call.program]++});
            trail.follow(call);
        }
        return CallAnswer::proceed();
    });
    EXPECT_EQ(end.status, scenario_.refusedInPlace ? 1 : 0) << end.output << end.errors;
    EXPECT_GT(points.size(), 100U) << "an installation makes more calls than that";
    judge(end, trail);
    return points;
}

std::vector<InstallSweep::Point> InstallSweep::chosen(std::vector<Point> points, std::size_t sample,
                                                      const std::function<bool(const SystemCall&)>& always) {
    if (sweepExtent == SweepExtent::whole) {
        return points;
    }
    // A removal is tried again when the first attempt could do nothing, so the disk is the same before it.
    points.erase(std::unique(points.begin(), points.end(),
                             [](const Point& one, const Point& next) {
                                 return isKey(one.call) && one.call.text() == next.call.text();
                             }),
                 points.end());
    std::vector<Point> taken;
    std::vector<Point> others;
    std::partition_copy(points.begin(), points.end(), std::back_inserter(taken), std::back_inserter(others),
                        [&](const Point& point) { return always(point.call); });
    std::minstd_rand random(sampleNumber);
    for (; sample > 0 && !others.empty(); --sample) {
        const auto drawn = others.begin() + static_cast<std::ptrdiff_t>(random() % others.size());
        taken.push_back(*drawn);
        others.erase(drawn);
    }
    return taken;
}

void InstallSweep::disturb(const Point& point, TracedEffects effects, CallAnswer answer) {
    root_.restore();
    std::map<std::string, std::size_t> numbers;
    bool reached = false;
    Trail trail = freshTrail();
    const TracedEnd end = root_.start(effects, [&](const SystemCall& call) {
        const bool isPoint =
            counts(call) && numbers[call.program]++ == point.number && call.program == point.call.program;
        if (isPoint) {
            reached = true;
            return answer;
        }
        trail.follow(call);
        return CallAnswer::proceed();
    });
    missed_ += reached ? 0 : 1;
    judge(end, trail);
    startAgain();
    root_.expectOthersUntouched();
}

// What one start has left, whatever happened to it.
void InstallSweep::judge(const TracedEnd& end, const Trail& trail) {
    const InstallState state = root_.state();
    const std::string previous = scenario_.previous;
    EXPECT_TRUE(previous.empty() || state.target == previous || state.backup == previous)
        << "the previous application is lost: " << state;
    if (end.status == 0) {
        EXPECT_EQ(state.target, newVersion) << end.output;
    } else if (end.status > 0) {
        EXPECT_GT(end.output.size(), 1U) << "an error without a text";
    }
    const RecoveryRow* const row = rowOf(state);
    EXPECT_NE(row, nullptr) << "no row for " << state;
    rowsSeen_.insert(row);
    judgeRecord(state, trail);
}

// The journal says no less and no more than has happened.
void InstallSweep::judgeRecord(const InstallState& state, const Trail& trail) const {
    if (state.journal.empty() || state.journal == "copying") {
        return;
    }
    const fs::path staging = root_.stagingDirectories().front();
    if (state.journal == "no record") {
        EXPECT_FALSE(trail.recorded.contains(staging)) << "the record went before the directory";
        return;
    }
    const fs::directory_iterator entries(staging); // a rollback gives the new one another name there
    const bool isWhole = state.target == newVersion ||
                         std::any_of(begin(entries), end(entries), [this](const fs::path& entry) {
                             return root_.versionOf(entry) == newVersion;
                         });
    EXPECT_TRUE(isWhole || trail.putBack) << "announced before the copy was whole";
}

void InstallSweep::startAgain() {
    root_.refuseInPlace(false);
    const InstallState before = root_.state();
    const RecoveryRow* const row = rowOf(before);
    if (row == nullptr) {
        return;
    }
    const auto mounted = root_.mounted();
    const TracedEnd end = root_.start();
    switch (row->result) {
    case NextStart::installs:
        return expectInstalled(end);
    case NextStart::isCurrent:
        EXPECT_EQ(end.output, std::string(InstallProgram::current) + "\n") << end.errors;
        EXPECT_EQ(root_.state(), before);
        EXPECT_EQ(root_.mounted(), mounted) << "nobody has asked the disk-image tool for anything";
        return;
    case NextStart::missesRecord:
        expectRefused(end, before, PlatformError(FileErrorCode::readNoSuchFile).what());
        return expectRefused(root_.start(), before, PlatformError(FileErrorCode::readNoSuchFile).what());
    case NextStart::findsMismatch:
        expectRefused(end, before, std::string(ErrorText::versionMismatch));
        return expectRefused(root_.start(), before, std::string(ErrorText::versionMismatch));
    }
}

void InstallSweep::expectInstalled(const TracedEnd& end) const {
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, std::string(InstallProgram::installed) + "\n") << end.errors;
    EXPECT_EQ(root_.state(),
              (InstallState{.target = newVersion, .journal = "installed", .backup = scenario_.previous}));
    EXPECT_THAT(root_.mounted(), testing::IsEmpty());
}

void InstallSweep::expectRefused(const TracedEnd& end, const InstallState& before,
                                 const std::string& reason) const {
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, reason + "\n") << end.errors;
    EXPECT_EQ(root_.state(), before) << "everything stays as it is";
    const bool hasRecord = before.journal != "no record";
    const std::string line =
        ErrorText::recoveryRefused({.directory = root_.stagingDirectories().front().string(),
                                    .phase = hasRecord ? before.journal : "unknown",
                                    .version = hasRecord ? newVersion : "unknown",
                                    .installedVersion = before.target.empty() ? "unknown" : before.target,
                                    .reason = reason});
    EXPECT_THAT(end.errors, HasSubstr(line));
}

const RecoveryRow* InstallSweep::rowOf(const InstallState& state) const {
    return findRow(word(state.target, scenario_.previous),
                   state.journal.empty() ? "no directory" : state.journal,
                   word(state.backup, scenario_.previous));
}

void InstallSweep::report(const char* what, std::size_t points, std::size_t runs) const {
    std::cout << scenario_.name << ": " << points << " " << what << " points, " << runs << " runs, "
              << missed_ << " that did not come to theirs";
    if (sweepExtent == SweepExtent::sampled) {
        std::cout << ", sample of number " << sampleNumber;
    }
    std::cout << std::endl;
    EXPECT_LE(missed_, runs / 20) << "the installation does not go the same way twice";
}

void InstallSweep::expectRowsSeen() const {
    for (const RecoveryRow& row : recoveryTable()) {
        EXPECT_TRUE(scenario_.name != std::string_view(row.reachedIn) || rowsSeen_.contains(&row))
            << "no installation ended here: " << row.interval;
    }
}

} // namespace InstallerCore::Testing
