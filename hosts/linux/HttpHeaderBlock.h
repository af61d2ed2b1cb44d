#pragma once

#include "InstallerCore/platform/Http.h"

#include <string_view>
#include <vector>

namespace InstallerCore {

// The header lines of one answer as they arrive, with the status line before them and the empty line behind
// them. A new status line starts afresh, so that an interim answer leaves nothing in the final one.
class HttpHeaderBlock {
public:
    // Takes a line with its line break. True when it is the empty one that ends the block.
    bool add(std::string_view line);

    [[nodiscard]] const std::vector<HttpHeader>& headers() const noexcept { return headers_; }

private:
    std::vector<HttpHeader> headers_;
    bool ended_ = true; // the next line begins a block
};

} // namespace InstallerCore
