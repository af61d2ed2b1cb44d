#pragma once

#include "InstallerCore/platform/Processes.h"

namespace InstallerCore {

class ProcessesPosix final : public Processes {
public:
    [[nodiscard]] ProcessResult run(const std::string& executable, const std::vector<std::string>& arguments,
                                    ErrorOutput errors) override;
    void startDetached(const std::string& executable, const std::vector<std::string>& arguments) override;
    [[nodiscard]] std::int64_t ownIdentifier() const noexcept override;
};

} // namespace InstallerCore
