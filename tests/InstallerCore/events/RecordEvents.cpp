#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/events/InstallerEvents.h"
#include "InstallerCore/install/InstanceLock.h"
#include "hosts/posix/ClockSystem.h"
#include "tests/support/TestPlatform.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

// record-events HOME EVENT COUNT [locked]
//
// Another installer process, for tests: echoes its input until that ends, then records the event COUNT times
// below the home directory; with "locked" only if it gets the instance lock. Exit status 0 when every event
// was recorded, 1 when one was not, 2 when the lock was refused.
int main(int argc, char** argv) {
    using namespace InstallerCore;

    if (argc < 4) {
        return EXIT_FAILURE;
    }
    for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) {
        std::putchar(byte);
        static_cast<void>(std::fflush(stdout));
    }
    Testing::TestPlatform test;
    FilesPosix files(argv[1]);
    ClockSystem clock;
    const Platform platform = test.with(files, clock);

    std::unique_ptr<FileLock> lock;
    if (argc > 4 && std::string_view(argv[4]) == "locked") {
        try {
            lock = takeInstanceLock(privateCache(platform), platform);
        } catch (const InstallerError&) {
            return 2;
        }
    }
    for (int left = std::atoi(argv[3]); left > 0; --left) {
        InstallerEvents::record(argv[2], std::nullopt, platform);
    }
    return test.log.lines().empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}
