#include "InstallerCore/events/InstallerEvents.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/DownloadCache.h"
#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/SystemLog.h"
#include "InstallerCore/support/Json.h"
#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/Uuid.h"

#include <chrono>
#include <exception>
#include <mutex>

namespace InstallerCore {

namespace {

constexpr const char* logName = "events.jsonl";
constexpr std::int64_t largestLog = 1'000'000;

// The same for every line of this process.
const std::string& sessionIdentifier() {
    static const std::string identifier = randomUuid();
    return identifier;
}

std::optional<FileAttributes> attributesIfAny(Directory& cache) {
    try {
        return cache.attributes(logName);
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

// Leaves a log that may be appended to, or throws.
void prepareLog(Directory& cache) {
    const auto attributes = attributesIfAny(cache);
    require(!attributes || attributes->type == FileType::regular, ErrorText::unsafeEventLog);
    if (attributes && attributes->size > largestLog) {
        cache.remove(logName);
    }
    cache.createIfMissing(logName);
}

std::string lineFor(const std::string& event, const std::optional<std::string>& version, WallTime now) {
    const std::chrono::duration<double, std::milli> timestamp = now.time_since_epoch();
    Json::Record record = {
        {"event", event},
        {"sessionId", sessionIdentifier()},
        {"platform", "macos"},
        {"timestamp", timestamp.count()},
    };
    if (version) {
        record["appVersion"] = *version;
    }
    return Json::compact(record) + "\n";
}

// The whole line or nothing: what a full disk cuts off is taken back.
void appendLine(FileHandle& log, const std::string& line) {
    const std::int64_t end = log.seekToEnd();
    try {
        log.write(asBytes(line));
    } catch (...) {
        log.truncate(end);
        throw;
    }
}

void append(const std::string& event, const std::optional<std::string>& version, const Platform& platform) {
    const auto cache = platform.files.openDirectory(privateCache(platform));
    prepareLog(*cache);
    const auto log = cache->open(logName, FileAccess::append);
    appendLine(*log, lineFor(event, version, platform.clock.now()));
}

} // namespace

void InstallerEvents::record(const std::string& event, const std::optional<std::string>& version,
                             const Platform& platform) noexcept {
    static std::mutex lock;
    const std::lock_guard guard(lock);
    try {
        append(event, version, platform);
    } catch (const std::exception&) {
        platform.log.write(ErrorText::eventNotPersisted);
    }
}

} // namespace InstallerCore
