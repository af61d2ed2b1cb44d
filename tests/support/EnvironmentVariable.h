#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace InstallerCore::Testing {

// A variable of the process's environment while this lives. No transfer may run when it comes or goes.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::string& value) : name_(name) {
        if (const char* const old = std::getenv(name)) {
            old_ = old;
        }
        ::setenv(name, value.c_str(), 1);
    }

    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

    ~EnvironmentVariable() {
        if (old_) {
            ::setenv(name_, old_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

// Whatever proxy the machine uses, a test's own transfers go straight to their server.
class NoProxy {
    EnvironmentVariable upperCase_{"NO_PROXY", "*"};
    EnvironmentVariable lowerCase_{"no_proxy", "*"};
};

} // namespace InstallerCore::Testing
