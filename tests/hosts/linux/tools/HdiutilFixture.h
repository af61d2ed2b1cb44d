#pragma once

#include "rehearsal/SampleImage.h"
#include "tests/support/SystemCallTracer.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// The tool, installed in a root directory of its own, and images to give it.
class HdiutilFixture : public ::testing::Test {
protected:
    HdiutilFixture();

    // Makes an image of what the call puts into a directory.
    std::filesystem::path makeImage(const std::string& name,
                                    const std::function<void(const std::filesystem::path&)>& arrange,
                                    const std::string& volumeName = "Kavio");

    // The same with some text, as the volume stores it, replaced by other text of the same length wherever it
    // is.
    std::filesystem::path makeSpoiltImage(const std::string& name,
                                          const std::function<void(const std::filesystem::path&)>& arrange,
                                          const std::u16string& text, const std::u16string& newText);

    // An image with a file "read me" and a link "Applications".
    std::filesystem::path makeSmallImage(const std::string& name = "small.dmg",
                                         const std::string& text = "text");

    // An image with an Apple partition map and two volumes "Twin", whose files "name" say "first" and
    // "second".
    std::filesystem::path makePartitionedImage();

    [[nodiscard]] std::vector<std::string> command(std::vector<std::string> arguments) const;
    [[nodiscard]] TracedEnd run(std::vector<std::string> arguments) const;
    [[nodiscard]] TracedEnd attach(const std::filesystem::path& image) const;
    [[nodiscard]] TracedEnd detach(const std::filesystem::path& mountPoint) const;

    // Attaches, expects that to succeed and returns the mount point.
    [[nodiscard]] std::filesystem::path mount(const std::filesystem::path& image) const;

    // What is in the volumes directory beside the tool's own, sorted; and what the tool has kept there for
    // itself beside the lock.
    [[nodiscard]] std::vector<std::string> volumes() const;
    [[nodiscard]] std::vector<std::string> state() const;

    // The attempt fails with this sentence and status, and nothing is left of it.
    void expectRefusal(const std::filesystem::path& image, const std::string& sentence) const;

    TemporaryDirectory directory_;
    std::filesystem::path root_ = directory_ / "root";
    std::filesystem::path volumes_ = root_ / "Volumes";
};

// The mount points in a table that "attach" or "info" printed, in order.
[[nodiscard]] std::vector<std::string> mountPointsIn(const std::string& table);

// Names and contents, link texts and permissions below the directory, a line each.
[[nodiscard]] std::vector<std::string> describeTree(const std::filesystem::path& directory);

} // namespace InstallerCore::Testing
