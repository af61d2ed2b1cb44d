#pragma once

namespace InstallerCore {

class Clock;
class Digests;
class Files;
class Http;
class SystemInfo;
class SystemLog;

// The services that the core runs on. A main (or a test's fixture) builds one; it owns nothing, so the
// services must outlive it.
struct Platform {
    Http& http;
    Files& files;
    Digests& digests;
    Clock& clock;
    SystemInfo& system;
    SystemLog& log;

    // The process-wide host, the default of every operation that needs one. Aborts when a main has not
    // chosen it.
    [[nodiscard]] static const Platform& host();

    // Called once, by a main, before anything else of the core. The argument must live as long as the
    // process.
    static void setHost(const Platform& platform);
};

} // namespace InstallerCore
