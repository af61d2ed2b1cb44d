#include "InstallerCore/download/Transfer.h"

#include "InstallerCore/config/ErrorText.h"
#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/RangeDecision.h"
#include "InstallerCore/support/CheckedArithmetic.h"

#include <string>
#include <utility>

namespace InstallerCore {

Transfer::Transfer(Options options, const Platform& platform)
    : options_(std::move(options)), platform_(platform) {}

Bytes Transfer::run(const Url& url) {
    HttpRequest request = prepare(url);
    Http& http = options_.protocols != nullptr ? *options_.protocols : platform_.http;
    auto task = http.start(std::move(request), *this);
    while (!done_.waitFor(pollInterval)) {
        if (options_.cancel->isCancelled()) {
            task->cancel();
        }
    }
    task.reset();
    options_.cancel->check();
    if (error_) {
        std::rethrow_exception(error_);
    }
    require(!options_.file || offset_ == options_.expected, ErrorText::incompleteDownload);
    return std::move(bytes_);
}

HttpRequest Transfer::prepare(const Url& url) {
    // A compressed body would have other offsets than the file.
    HttpRequest request{.url = url, .headers = {{.name = "Accept-Encoding", .value = "identity"}}};
    if (!options_.file) {
        return request;
    }
    file_.emplace(platform_.files, *options_.file, options_.expected);
    offset_ = file_->initialSize();
    if (offset_ == 0) {
        return request;
    }
    request.headers.push_back({.name = "Range", .value = "bytes=" + std::to_string(offset_) + "-"});
    if (auto validator = file_->validator()) {
        request.headers.push_back({.name = "If-Range", .value = *std::move(validator)});
    }
    return request;
}

template <typename Step>
HttpDelegate::Disposition Transfer::guarded(Step step) noexcept {
    try {
        step();
        return Disposition::allow;
    } catch (...) {
        error_ = std::current_exception();
        return Disposition::cancel;
    }
}

HttpDelegate::Disposition Transfer::redirect(const std::string& address) {
    return guarded([&] { static_cast<void>(options_.config.url(address)); });
}

HttpDelegate::Disposition Transfer::response(const HttpResponse& response) {
    return guarded([&] { acceptResponse(response); });
}

HttpDelegate::Disposition Transfer::data(ByteView chunk) {
    return guarded([&] { acceptData(chunk); });
}

void Transfer::acceptResponse(const HttpResponse& response) {
    options_.cancel->check();
    require(response.status.has_value(), ErrorText::invalidHttpResponse);
    responseStatus_ = *response.status;
    if (file_) {
        acceptFileResponse(response);
    } else {
        constexpr int ok = 200;
        require(responseStatus_ == ok, ErrorText::httpStatus(responseStatus_));
    }
}

void Transfer::acceptFileResponse(const HttpResponse& response) {
    const RangeDecision decision =
        rangeDecision(responseStatus_, offset_, response.header("Content-Range"), options_.expected);
    if (decision == RangeDecision::restart) {
        offset_ = 0;
        file_->restart();
    }
    file_->saveValidator(response.header("ETag").value_or(""));
}

void Transfer::acceptData(ByteView chunk) {
    options_.cancel->check();
    const std::int64_t end = checkedAdd(offset_, std::ssize(chunk));
    require(end <= options_.expected, ErrorText::exceedsExpectedSize);
    if (file_) {
        file_->append(chunk);
    } else {
        bytes_.insert(bytes_.end(), chunk.begin(), chunk.end());
    }
    offset_ = end;
    if (options_.progress) {
        options_.progress(offset_, options_.expected);
    }
}

void Transfer::completed(std::exception_ptr error) {
    if (!error_) {
        error_ = std::move(error);
    }
    closeFile();
    done_.signal();
}

void Transfer::closeFile() {
    if (!file_) {
        return;
    }
    try {
        file_->finish();
    } catch (...) {
        if (!error_) {
            error_ = std::current_exception();
        }
    }
}

} // namespace InstallerCore
