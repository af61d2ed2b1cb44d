#pragma once

#include <string>

namespace InstallerCore {

class Clock;
class CodeSigning;
class Digests;
class Files;
class Folders;
class Http;
class Languages;
class Processes;
class PropertyLists;
class Resources;
class SystemInfo;
class SystemLog;
class Workspace;

// Where the tools of the system are. A main that serves another root directory names the tools and the
// volumes of that root.
struct SystemPaths {
    std::string hdiutil = "/usr/bin/hdiutil";
    std::string ditto = "/usr/bin/ditto";
    std::string spctl = "/usr/sbin/spctl";
    std::string shell = "/bin/sh";
    std::string volumes = "/Volumes"; // below it, images are mounted
};

// The services that the core runs on. A main (or a test's fixture) builds one; it owns nothing, so the
// services must outlive it.
struct Platform {
    Http& http;
    Files& files;
    Digests& digests;
    Clock& clock;
    SystemInfo& system;
    SystemLog& log;
    Folders& folders;
    Processes& processes;
    const PropertyLists& propertyLists;
    const CodeSigning& codeSigning;
    const Workspace& workspace;
    const Languages& languages;
    const Resources& resources;
    SystemPaths paths{};

    // The process-wide host, the default of every operation that needs one. Aborts when a main has not
    // chosen it.
    [[nodiscard]] static const Platform& host();

    // Called once, by a main, before anything else of the core. The argument must live as long as the
    // process.
    static void setHost(const Platform& platform);
};

} // namespace InstallerCore
