#include "hosts/linux/window/QuitRequests.h"

#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/EnvironmentVariable.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <QGuiApplication>
#include <QSessionManager>
#include <csignal>

namespace InstallerCore {
namespace {

using Testing::EnvironmentVariable;

// Whatever the signal, the program says this and then ends by itself.
void expectOutput(const std::string& when, const std::string& answers, const std::string& output) {
    const EnvironmentVariable platform("QT_QPA_PLATFORM", "offscreen");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        const ProcessResult result =
            ProcessesPosix().run(QUIT_REQUESTS_PROGRAM, {when + ":" + std::to_string(signal), answers},
                                 Processes::ErrorOutput::inherited);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(asText(result.output), output);
    }
}

TEST(QuitRequestsTest, HearsASignal) {
    expectOutput("after", "y", "running\nyes\n");
}

TEST(QuitRequestsTest, HearsASignalThatCameBeforeTheApplicationWasThere) {
    expectOutput("before", "ny", "running\nno\nyes\n");
}

TEST(QuitRequestsTest, IsAskedEachTimeUntilTheAnswerIsYes) {
    expectOutput("after", "nny", "running\nno\nno\nyes\n");
}

// Whether the session's manager hears the answer is for session_end.py.
TEST(QuitRequestsTest, IsAskedAtTheEndOfTheSession) {
    auto* const session = qGuiApp->findChild<QSessionManager*>();
    ASSERT_NE(session, nullptr);
    int asked = 0;
    const QuitRequests requests(Descriptor(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
                                [&] { return ++asked > 0; });
    qGuiApp->commitDataRequest(*session);
    EXPECT_EQ(asked, 1);
}

} // namespace
} // namespace InstallerCore
