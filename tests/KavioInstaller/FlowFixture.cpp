#include "tests/KavioInstaller/FlowFixture.h"

#include "tests/support/TestPlatform.h"

#include <gtest/gtest.h>

namespace InstallerCore::Testing {

InstallerLocalization wordsOf(const MessageCatalog& catalog, const std::vector<std::string>& languages) {
    static TestPlatform platform;
    return InstallerLocalization(catalog, languages, platform.platform);
}

FlowFixture::~FlowFixture() {
    while (host.isBusy()) {
        if (!host.resume()) {
            host.pump();
        }
    }
}

AppDelegate& FlowFixture::delegate() {
    if (!delegate_) {
        const Config config{.installerVersion = "1.0.0",
                            .channelURL = "https://mykavio.test/latest-mac.yml",
                            .allowedHosts = {"mykavio.test"},
                            .bundleID = "test.mykavio.app"};
        delegate_ =
            std::make_unique<AppDelegate>(config, AppDelegate::Environment{.host = host,
                                                                           .core = core.operations(),
                                                                           .strings = words,
                                                                           .resources = resources,
                                                                           .preferredLanguages = languages});
    }
    return *delegate_;
}

void FlowFixture::launchIntoRun() {
    launch();
    while (host.works < 2 && advance()) {
    }
    ASSERT_EQ(host.works, 2U);
    static_cast<void>(takeLog());
}

bool FlowFixture::advance() {
    constexpr int tooMany = 1000;
    if (++steps_ > tooMany) {
        ADD_FAILURE() << "it would go on for ever";
        return false;
    }
    return host.pump() || host.resume();
}

void FlowFixture::settle() {
    while (advance()) {
    }
}

void FlowFixture::stopBefore(const std::string& line) {
    while (!host.nextInBackground().starts_with(line)) {
        ASSERT_TRUE(advance()) << "it never came to: " << line;
    }
}

void FlowFixture::completeOpen(const OpenResult& result) {
    ASSERT_TRUE(host.completeOpen(result)) << "nothing is being opened";
    settle();
}

bool FlowFixture::canPress() const {
    return host.window && host.window->action.canBePressed();
}

void FlowFixture::press() {
    ASSERT_TRUE(canPress());
    delegate().start();
}

} // namespace InstallerCore::Testing
