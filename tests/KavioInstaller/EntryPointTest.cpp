#include "KavioInstaller/EntryPoint.h"

#include "InstallerCore/support/PlatformError.h"

#include <gtest/gtest.h>

#include <sstream>

namespace InstallerCore {

namespace {

const Config config = {
    .installerVersion = "1.0.0", .allowedHosts = {"mykavio.test"}, .bundleID = "test.mykavio.app"};

TEST(EntryPointTest, TheApplicationGetsTheConfigurationAndGivesTheStatus) {
    std::ostringstream errors;
    for (const int status : {0, 1, 42}) {
        std::optional<Config> given;
        EXPECT_EQ(runWithConfiguration(config.encode(), errors,
                                       [&](const Config& decoded) {
                                           given = decoded;
                                           return status;
                                       }),
                  status);
        EXPECT_EQ(given, config);
    }
    EXPECT_EQ(errors.str(), "");
}

TEST(EntryPointTest, AnInvalidConfigurationIsOneLineAndStatusOne) {
    constexpr std::pair<std::string_view, std::string_view> cases[] = {
        {"", "Invalid installer configuration: The data is not valid JSON.\n"},
        {"[]", "Invalid installer configuration: The top level is not an object.\n"},
        {"{}", "Invalid installer configuration: There is no value for \"installerVersion\".\n"},
        {R"({"installerVersion":5})",
         "Invalid installer configuration: The value of \"installerVersion\" is not a string.\n"},
    };
    for (const auto& [json, line] : cases) {
        std::ostringstream errors;
        bool started = false;
        EXPECT_EQ(runWithConfiguration(asBytes(json), errors,
                                       [&](const Config&) {
                                           started = true;
                                           return 0;
                                       }),
                  1);
        EXPECT_EQ(errors.str(), line);
        EXPECT_FALSE(started) << json;
    }
}

TEST(EntryPointTest, AnErrorOfTheApplicationIsNotOneOfTheConfiguration) {
    std::ostringstream errors;
    EXPECT_THROW(runWithConfiguration(
                     config.encode(), errors,
                     [](const Config&) -> int { throw PlatformError(JsonErrorCode::corrupt, "later"); }),
                 PlatformError);
    EXPECT_EQ(errors.str(), "");
}

TEST(EntryPointTest, WhatTheInstallerThrowsIsOneLineAndStatusOne) {
    std::ostringstream errors;
    EXPECT_EQ(startInstaller(config.encode(), errors,
                             [](const Config&) -> int { throw std::runtime_error("nobody is at home"); }),
              1);
    EXPECT_EQ(errors.str(), "The installer cannot start: nobody is at home\n");
}

TEST(EntryPointTest, TheInstallerGetsTheConfigurationAndGivesTheStatus) {
    std::ostringstream errors;
    std::optional<Config> given;
    const auto installer = [&](const Config& decoded) {
        given = decoded;
        return 42;
    };
    EXPECT_EQ(startInstaller(config.encode(), errors, installer), 42);
    EXPECT_EQ(given, config);
    EXPECT_EQ(startInstaller(asBytes("[]"), errors, installer), 1);
    EXPECT_EQ(errors.str(), "Invalid installer configuration: The top level is not an object.\n");
}

} // namespace

} // namespace InstallerCore
