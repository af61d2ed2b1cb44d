#pragma once

#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

#include <string>

namespace InstallerCore::Testing {

// The call throws an InstallerError with exactly this text.
template <typename Call>
void expectInstallerError(const std::string& text, Call call) {
    try {
        call();
        ADD_FAILURE() << "no error instead of \"" << text << '"';
    } catch (const InstallerError& error) {
        EXPECT_EQ(error.errorDescription(), text);
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another error instead of \"" << text << "\": " << error.what();
    }
}

// The call throws a PlatformError with this code.
template <typename Code, typename Call>
void expectPlatformError(Code code, Call call) {
    const PlatformError expected(code);
    try {
        call();
        ADD_FAILURE() << "no error instead of: " << expected.what();
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), expected.domain());
        EXPECT_EQ(error.code(), expected.code()) << error.what();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another error instead of: " << expected.what() << " It is: " << error.what();
    }
}

} // namespace InstallerCore::Testing
