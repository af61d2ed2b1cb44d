#include "tests/KavioInstaller/RecordingHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace InstallerCore::Testing {

namespace {

std::string hidden(bool isHidden) {
    return isHidden ? ", hidden" : "";
}

std::string describe(const DownloadProgressView& bar) {
    std::ostringstream text;
    if (bar.isIndeterminate) {
        text << (bar.activity ? "pulsing" : "indeterminate");
    } else {
        text << bar.doubleValue << (bar.activity ? ", pulsing" : "");
    }
    return text.str();
}

// One line for each thing that a flow changes.
std::array<std::string, 5> describe(const InstallerWindow& window) {
    const bool isError = window.label.font.size < 17;
    return {std::string("look = ") + (isError ? "error" : "normal"), "status = " + window.label.text,
            "percentage = " + window.percentage.text + hidden(window.percentage.isHidden),
            "bar = " + describe(window.bar) + hidden(window.isBarHidden),
            "button = " + window.action.title + (window.action.isEnabled ? "" : ", disabled") +
                hidden(window.action.isHidden)};
}

} // namespace

bool RecordingHost::pump() {
    if (queue_.empty()) {
        return false;
    }
    const Queued next = std::move(queue_.front());
    queue_.pop_front();
    next.work();
    return true;
}

bool RecordingHost::resume() {
    if (nextInBackground().empty()) {
        return false;
    }
    background_->resume();
    return true;
}

std::string RecordingHost::nextInBackground() const {
    if (!isBusy() || isWaiting_) {
        return {};
    }
    return background_->next().empty() ? "the beginning" : background_->next();
}

bool RecordingHost::completeOpen(const OpenResult& result) {
    if (openings_.empty()) {
        return false;
    }
    const auto completion = std::move(openings_.front());
    openings_.pop_front();
    isEndingOpening_ = true;
    std::thread(completion, result).join();
    isEndingOpening_ = false;
    return true;
}

std::size_t RecordingHost::queuedFrom(Origin origin) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(queue_, [&](const Queued& queued) { return queued.origin == origin; }));
}

void RecordingHost::onMain(std::function<void()> work) {
    const Origin other = isEndingOpening_ ? Origin::opening : Origin::transfer;
    queue_.push_back({std::move(work), SteppedThread::isCurrent() ? Origin::background : other});
}

void RecordingHost::onMainAndWait(const std::function<void()>& work) {
    EXPECT_NE(std::this_thread::get_id(), mainThread_) << "it would wait for itself";
    isWaiting_ = true;
    queue_.push_back({[this, &work] {
                          work();
                          isWaiting_ = false;
                      },
                      Origin::waitingBackground});
    SteppedThread::yield("what comes after the wait");
}

void RecordingHost::inBackground(std::function<void()> work) {
    ASSERT_FALSE(isBusy()) << "two in the background at once";
    ++works;
    background_ = std::make_unique<SteppedThread>(std::move(work));
}

void RecordingHost::becomeRegular() {
    logMain("becomeRegular");
}

void RecordingHost::show(const InstallerWindow& shown) {
    EXPECT_EQ(std::this_thread::get_id(), mainThread_);
    const std::optional before = std::exchange(window, shown);
    if (!before) {
        log_.add("window made");
    }
    const auto lines = describe(shown);
    const auto linesBefore = before ? describe(*before) : decltype(lines){};
    for (std::size_t line = 0; line < lines.size(); ++line) {
        if (lines.at(line) != linesBefore.at(line)) {
            log_.add(lines.at(line));
        }
    }
}

void RecordingHost::orderFront() {
    logMain("orderFront");
    EXPECT_TRUE(window) << "there is no window";
}

void RecordingHost::orderOut() {
    logMain("orderOut");
    EXPECT_TRUE(window) << "there is no window";
}

void RecordingHost::beep() {
    logMain("beep");
}

void RecordingHost::runAlert(const std::string& message) {
    logMain("alert " + message);
    if (onAlert) {
        onAlert();
    }
}

void RecordingHost::openApplication(const std::filesystem::path& application,
                                    std::function<void(const OpenResult&)> completion) {
    logMain("open " + application.string());
    openings_.push_back(std::move(completion));
}

std::filesystem::path RecordingHost::mainBundle() const {
    return "/Volumes/Kavio/Kavio Installer.app";
}

void RecordingHost::holdAwake(bool awake) {
    logMain(awake ? "awake" : "may sleep");
    isAwake = awake;
}

void RecordingHost::terminate() {
    logMain("terminate");
    ++terminations;
}

void RecordingHost::logMain(const std::string& line) const {
    EXPECT_EQ(std::this_thread::get_id(), mainThread_) << line;
    log_.add(line);
}

} // namespace InstallerCore::Testing
