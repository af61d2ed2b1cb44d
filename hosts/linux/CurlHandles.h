#pragma once

#include "InstallerCore/support/PlatformError.h"

#include <curl/curl.h>

#include <memory>
#include <new>
#include <string>

namespace InstallerCore {

struct CurlEasyDeleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};

struct CurlMultiDeleter {
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};

struct CurlListDeleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};

using CurlEasy = std::unique_ptr<CURL, CurlEasyDeleter>;
using CurlMulti = std::unique_ptr<CURLM, CurlMultiDeleter>;
using CurlList = std::unique_ptr<curl_slist, CurlListDeleter>;

// Sets an option of the handle. A refused one would silently weaken what the transfer promises.
template <typename Value>
void setOption(CURL* handle, CURLoption option, Value value) {
    if (curl_easy_setopt(handle, option, value) != CURLE_OK) {
        throw PlatformError(UrlErrorCode::unknown);
    }
}

// Adds a line at the end; an empty list is a null one.
inline void append(CurlList& list, const std::string& line) {
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release()); // part of the longer one
    list.reset(longer);
}

} // namespace InstallerCore
