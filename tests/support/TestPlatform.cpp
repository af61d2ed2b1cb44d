#include "tests/support/TestPlatform.h"

#include "InstallerCore/config/BuildConfig.h"

namespace InstallerCore::Testing {

WallTime FakeClock::now() const {
    const std::lock_guard guard(lock_);
    return now_;
}

void FakeClock::sleep(std::chrono::milliseconds duration) {
    std::size_t before = 0;
    {
        const std::lock_guard guard(lock_);
        before = sleeps_.size();
        sleeps_.push_back(duration);
        now_ += duration;
    }
    if (onSleep) {
        onSleep(before);
    }
}

void FakeClock::set(WallTime now) {
    const std::lock_guard guard(lock_);
    now_ = now;
}

std::vector<std::chrono::milliseconds> FakeClock::sleeps() const {
    const std::lock_guard guard(lock_);
    return sleeps_;
}

void RecordingLog::write(std::string_view line) noexcept {
    const std::lock_guard guard(lock_);
    lines_.emplace_back(line);
}

std::vector<std::string> RecordingLog::lines() const {
    const std::lock_guard guard(lock_);
    return lines_;
}

Platform TestPlatform::with(Files& otherFiles, Clock& otherClock) {
    return {http,      otherFiles,    digests,     otherClock, system,    log,      folders,
            processes, propertyLists, codeSigning, workspace,  languages, resources};
}

std::filesystem::path TestPlatform::cachePath() const {
    return home / "Library/Caches" / BuildConfig::installerIdentifier;
}

} // namespace InstallerCore::Testing
