#pragma once

#include "hosts/linux/codesign/Requirement.h"
#include "rehearsal/signing/BundleSigner.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// What verifyStatic refuses the path with; empty when it does not.
[[nodiscard]] std::string staticRefusal(const std::filesystem::path& path,
                                        const std::optional<CodeSign::Requirement>& requirement = {});

// One change to a signed bundle, and what it is refused with; empty when it is allowed.
struct BundleChange {
    const char* what;
    std::function<void(const std::filesystem::path& bundle)> make;
    std::string refusal;
};

// The sample application, signed ad hoc once for all tests of a suite.
class BundleFixture : public ::testing::Test {
protected:
    // A copy of the signed application of its own.
    [[nodiscard]] std::filesystem::path copy();

    // Another application that is not signed yet.
    [[nodiscard]] std::filesystem::path unsignedCopy();

    // Each change is made to a copy of its own. The result is the same with and without other threads to
    // help.
    void check(const std::vector<BundleChange>& changes);

    // The options for an ad-hoc signature.
    [[nodiscard]] static Rehearsal::BundleOptions adHoc();

    TemporaryDirectory directory;

private:
    int copies_ = 0;
};

// Makes it and its directories. For any place in a bundle.
void addFile(const std::filesystem::path& file, const std::string& content = "content");

// Changes one byte in its lowest bit.
void flipByte(const std::filesystem::path& file, std::size_t offset);

// Replaces the entry by a link to where it is put.
void replaceByLink(const std::filesystem::path& entry);

// A property list that names that executable.
[[nodiscard]] std::string informationList(const std::string& executable);

} // namespace InstallerCore::Testing
