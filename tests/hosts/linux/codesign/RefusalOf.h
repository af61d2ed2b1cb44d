#pragma once

#include "hosts/linux/codesign/SignatureError.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore::Testing {

// What the call refuses with; empty when it does not. Any other exception goes through.
template <typename Call>
[[nodiscard]] std::string refusalOf(Call&& call) {
    try {
        static_cast<void>(call());
        return {};
    } catch (const CodeSign::SignatureError& error) {
        return error.what();
    }
}

} // namespace InstallerCore::Testing
