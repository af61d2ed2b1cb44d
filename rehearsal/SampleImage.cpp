#include "rehearsal/SampleImage.h"

#include "rehearsal/HfsVolume.h"

#include <system_error>
#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

// A path that is free for use while the object lives.
class Interim {
public:
    explicit Interim(fs::path path) : path_(std::move(path)) { fs::remove_all(path_); }

    Interim(const Interim&) = delete;
    Interim& operator=(const Interim&) = delete;

    ~Interim() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    [[nodiscard]] const fs::path& path() const noexcept { return path_; }

private:
    fs::path path_;
};

} // namespace

void packImage(const std::filesystem::path& directory, const std::filesystem::path& image,
               const SampleImageOptions& options) {
    const Interim volume(image.string() + ".volume");
    makeHfsVolume(directory, options.volumeName, volume.path());
    writeUdif(volume.path(), image, options.container);
}

void makeSampleImage(const SampleApplicationOptions& application, const std::filesystem::path& image,
                     const SampleImageOptions& options) {
    const Interim tree(image.string() + ".tree");
    fs::create_directory(tree.path());
    fs::permissions(tree.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                     fs::perms::others_read | fs::perms::others_exec);
    makeSampleApplication(application, tree.path());
    if (options.linkToApplications) {
        fs::create_symlink("/Applications", tree.path() / "Applications");
    }
    setSampleDates(tree.path());
    if (options.arrange) {
        options.arrange(tree.path());
    }
    packImage(tree.path(), image, options);
}

} // namespace InstallerCore::Rehearsal
