#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace InstallerCore {

// The core's own failure: a short English text and nothing else. The texts are a contract (see ErrorText.h):
// the downloader's retry policy and the choice of the user's message read them. Never wraps another error.
class InstallerError : public std::exception {
public:
    [[nodiscard]] static InstallerError message(std::string_view text);

    // The localized description is exactly the text.
    [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

    [[nodiscard]] const std::string& errorDescription() const noexcept { return text_; }

    // How the error shows itself where platform errors are told apart by domain and code.
    static constexpr std::string_view domain = "InstallerCore.InstallerError";
    static constexpr int code = 0;

private:
    explicit InstallerError(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

// Throws InstallerError::message(text) unless the condition holds.
void require(bool condition, std::string_view text);

} // namespace InstallerCore
