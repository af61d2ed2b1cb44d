#pragma once

#include "InstallerCore/config/Config.h"
#include "InstallerCore/download/Cancellation.h"
#include "InstallerCore/download/PartialFile.h"
#include "InstallerCore/platform/Http.h"
#include "InstallerCore/platform/Platform.h"
#include "InstallerCore/support/Semaphore.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace InstallerCore {

// Bytes received so far (those found on disk included) and in all. Called on the transfer's own thread.
using DownloadProgress = std::function<void(std::int64_t received, std::int64_t total)>;

// One HTTP GET as one blocking call: into memory up to a largest size, or into a cache file that ends up
// exactly the expected size, resumed where it stood. For one request only; private to the core.
//
// Two threads take part: run() blocks its caller, and the HttpDelegate calls come on the transfer's thread.
// Once the task has started, the fields are written there alone, and read by the caller only after
// completed() has signalled. The platform must outlive the object.
class Transfer final : private HttpDelegate {
public:
    struct Options {
        Config config;
        std::optional<std::filesystem::path> file; // absent: into memory
        std::int64_t expected = 0;                 // bytes: of the complete file, or the most for memory
        std::shared_ptr<const Cancellation> cancel;
        DownloadProgress progress = nullptr; // after every accepted chunk
        Http* protocols = nullptr;           // stands in for the platform's network when given
    };

    explicit Transfer(Options options, const Platform& platform = Platform::host());
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // The body; empty when it went into the file. Throws InstallerError or PlatformError; the file and its
    // validator stay on disk then.
    [[nodiscard]] Bytes run(const Url& url);

    // How often the waiting caller looks at the cancel flag.
    static constexpr std::chrono::milliseconds pollInterval{100};

private:
    [[nodiscard]] HttpRequest prepare(const Url& url);

    Disposition redirect(const std::string& address) override;
    Disposition response(const HttpResponse& response) override;
    Disposition data(ByteView chunk) override;
    void completed(std::exception_ptr error) override;

    void acceptResponse(const HttpResponse& response);
    void acceptFileResponse(const HttpResponse& response);
    void acceptData(ByteView chunk);
    void closeFile();

    // Runs the step; its error becomes the transfer's.
    template <typename Step>
    Disposition guarded(Step step) noexcept;

    Options options_;
    const Platform& platform_;
    Bytes bytes_;
    std::exception_ptr error_; // of the last failing call
    std::optional<PartialFile> file_;
    std::int64_t offset_ = 0; // bytes present in the file, or received
    int responseStatus_ = 0;
    Semaphore done_;
};

} // namespace InstallerCore
