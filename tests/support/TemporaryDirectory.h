#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace InstallerCore::Testing {

// A fresh directory that goes with the object, whatever is in it by then.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// For arranging and looking at files in tests; each aborts the test by an exception when it cannot.
void writeFile(const std::filesystem::path& file, std::string_view content);
[[nodiscard]] std::string readFile(const std::filesystem::path& file);
[[nodiscard]] unsigned permissionsOf(const std::filesystem::path& path); // the nine bits, links not followed

} // namespace InstallerCore::Testing
