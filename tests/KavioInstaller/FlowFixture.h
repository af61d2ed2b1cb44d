#pragma once

#include "KavioInstaller/AppDelegate.h"
#include "tests/KavioInstaller/FakeCore.h"
#include "tests/KavioInstaller/RecordingHost.h"
#include "tests/support/FakeResources.h"

#include <memory>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

inline const OpenResult runs{.error = std::nullopt, .isRunning = true};
inline const OpenResult isRefused{.error = "It is damaged.", .isRunning = false};
inline const OpenResult isNowhere{.error = std::nullopt, .isRunning = false};

// The installer's words in the first of the languages that the catalog has; percentages as in English.
[[nodiscard]] InstallerLocalization wordsOf(const MessageCatalog& catalog = {},
                                            const std::vector<std::string>& languages = {});

// A flow on a fake core and a desktop moved by hand.
class FlowFixture {
public:
    FlowFixture() = default;
    FlowFixture(const FlowFixture&) = delete;
    FlowFixture& operator=(const FlowFixture&) = delete;

    // Lets what runs in the background come to its end.
    ~FlowFixture();

    // To be set before the first call of anything below.
    InstallerLocalization words = wordsOf();
    std::vector<std::string> languages;
    FakeResources resources;

    FlowLog log;
    FakeCore core{log};
    RecordingHost host{log};

    [[nodiscard]] AppDelegate& delegate();

    void launch() { delegate().applicationDidFinishLaunching(); }

    // Launches with nothing installed, goes on to where the run is about to begin, and forgets the log.
    void launchIntoRun();

    // One step: of the main queue, or of the background when the queue is empty. False when neither has one.
    bool advance();

    void settle();

    // Goes on until the background is about to do what begins so. Fails the test when it never is.
    void stopBefore(const std::string& line);

    void completeOpen(const OpenResult& result);

    [[nodiscard]] bool canPress() const;

    // The user, who cannot press what is hidden or disabled.
    void press();

    bool close() { return delegate().windowShouldClose(); }

    [[nodiscard]] FlowState state() { return delegate().state(); }

    [[nodiscard]] const std::string& status() const { return host.window->label.text; }

    [[nodiscard]] Lines takeLog() { return log.take(); }

private:
    std::unique_ptr<AppDelegate> delegate_;
    int steps_ = 0;
};

} // namespace InstallerCore::Testing
