#include "InstallerCore/download/Cancellation.h"

#include "tests/support/Expect.h"

#include <thread>

namespace InstallerCore {

namespace {

TEST(CancellationTest, StartsUnset) {
    const Cancellation cancellation;
    EXPECT_FALSE(cancellation.isCancelled());
    EXPECT_NO_THROW(cancellation.check());
}

TEST(CancellationTest, StaysSetAndThrowsOnEveryCheck) {
    Cancellation cancellation;
    cancellation.cancel();
    cancellation.cancel();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(cancellation.isCancelled());
        Testing::expectInstallerError("Download paused. Open the installer again to resume.",
                                      [&] { cancellation.check(); });
    }
}

TEST(CancellationTest, IsSeenByAnotherThread) {
    Cancellation cancellation;
    std::thread poller([&] {
        while (!cancellation.isCancelled()) {
            std::this_thread::yield();
        }
    });
    cancellation.cancel();
    poller.join();
    EXPECT_TRUE(cancellation.isCancelled());
}

} // namespace

} // namespace InstallerCore
