#pragma once

#include "InstallerCore/platform/CodeSigning.h"
#include "InstallerCore/platform/Digests.h"
#include "InstallerCore/platform/Languages.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/PropertyLists.h"
#include "InstallerCore/platform/Resources.h"
#include "InstallerCore/platform/SystemInfo.h"
#include "InstallerCore/platform/Workspace.h"
#include "hosts/posix/FoldersPosix.h"
#include "tests/support/TestPlatform.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Services that break one promise and keep the others, as a system may that its host misunderstands.
namespace InstallerCore::Testing {

// Forwards what a test does not replace.
class LyingProcesses final : public Processes {
    Processes& real_;

public:
    explicit LyingProcesses(Processes& real) : real_(real) {}

    using Run =
        std::function<ProcessResult(const std::string&, const std::vector<std::string>&, ErrorOutput)>;
    Run onRun = [this](const auto&... arguments) { return real_.run(arguments...); };
    std::function<void(const std::string&, const std::vector<std::string>&)> onStart =
        [this](const auto&... arguments) { real_.startDetached(arguments...); };
    std::int64_t identifier = real_.ownIdentifier();

    [[nodiscard]] ProcessResult run(const std::string& executable, const std::vector<std::string>& arguments,
                                    ErrorOutput errors) override {
        return onRun(executable, arguments, errors);
    }

    void startDetached(const std::string& executable, const std::vector<std::string>& arguments) override {
        onStart(executable, arguments);
    }

    [[nodiscard]] std::int64_t ownIdentifier() const noexcept override { return identifier; }
};

// Says half of the space.
class StingyFolders final : public FoldersPosix {
public:
    [[nodiscard]] std::optional<std::int64_t>
    availableSpace(const std::filesystem::path& path) const override {
        const auto space = FoldersPosix::availableSpace(path);
        return space ? std::optional(*space / 2) : std::nullopt;
    }
};

// Has another number in a dictionary.
class MiscountingPropertyLists final : public PropertyLists {
public:
    explicit MiscountingPropertyLists(const PropertyLists& real) : real_(real) {}

    [[nodiscard]] PropertyValue parse(ByteView document) const override {
        PropertyValue value = real_.parse(document);
        if (auto* const dictionary = std::get_if<PropertyDictionary>(&value.value)) {
            dictionary->insert_or_assign("number", PropertyValue{std::int64_t{7}});
        }
        return value;
    }

private:
    const PropertyLists& real_;
};

// Forgets what came before the last piece.
class ForgetfulDigests final : public Digests {
public:
    explicit ForgetfulDigests(const Digests& real) : real_(real) {}

    [[nodiscard]] std::unique_ptr<Sha512> sha512() const override {
        class Forgetful final : public Sha512 {
        public:
            explicit Forgetful(const Digests& real) : real_(real), sha_(real.sha512()) {}

            void update(ByteView bytes) override {
                sha_ = real_.sha512();
                sha_->update(bytes);
            }

            [[nodiscard]] std::array<std::byte, size> finish() override { return sha_->finish(); }

        private:
            const Digests& real_;
            std::unique_ptr<Sha512> sha_;
        };

        return std::make_unique<Forgetful>(real_);
    }

private:
    const Digests& real_;
};

// Writes every language as the first.
class EnglishLanguages final : public Languages {
public:
    explicit EnglishLanguages(const Languages& real) : real_(real) {}

    [[nodiscard]] std::vector<std::string> preferred() const override { return real_.preferred(); }

    [[nodiscard]] std::string percent(double fraction, const std::string& /*language*/) const override {
        return real_.percent(fraction, "en-US");
    }

private:
    const Languages& real_;
};

// Has one file under every name.
class GenerousResources final : public Resources {
public:
    explicit GenerousResources(std::filesystem::path file) : file_(std::move(file)) {}

    [[nodiscard]] std::optional<std::filesystem::path> find(const std::string& /*name*/,
                                                            const std::string& /*extension*/) const override {
        return file_;
    }

private:
    std::filesystem::path file_;
};

class BusyWorkspace final : public Workspace {
public:
    [[nodiscard]] bool isRunning(const std::string& /*bundleIdentifier*/) const override { return true; }
};

// Keeps the first verdict on a code for ever.
class StubbornCodeSigning final : public CodeSigning {
public:
    explicit StubbornCodeSigning(const CodeSigning& real) : real_(real) {}

    [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const std::filesystem::path& bundle) const override {
        class Stubborn final : public StaticCode {
        public:
            explicit Stubborn(std::unique_ptr<StaticCode> code) : code_(std::move(code)) {}

            [[nodiscard]] bool isValid(const SigningRequirement& requirement) const override {
                if (!verdict_) {
                    verdict_ = code_->isValid(requirement);
                }
                return *verdict_;
            }

        private:
            std::unique_ptr<StaticCode> code_;
            mutable std::optional<bool> verdict_;
        };

        auto code = real_.staticCode(bundle);
        return code ? std::make_unique<Stubborn>(std::move(code)) : nullptr;
    }

    [[nodiscard]] std::unique_ptr<SigningRequirement> requirement(const std::string& text) const override {
        return real_.requirement(text);
    }

private:
    const CodeSigning& real_;
};

} // namespace InstallerCore::Testing
