#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/ReadText.h"
#include "hosts/contract/Contract.h"

#include <sys/stat.h>

#include <charconv>
#include <chrono>
#include <optional>

namespace InstallerCore::HostContract {

namespace {

mode_t permissionsOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

constexpr std::size_t longest = 1'000'000;

std::string contentOf(Directory& directory, const std::string& name) {
    return readText(directory, name, longest);
}

// The bytes that a user can still write on the volume, as the system's own program tells them.
std::optional<double> spaceByDf(const Platform& platform, const std::filesystem::path& path) {
    const ProcessResult result = platform.processes.run(
        platform.paths.shell, {"-c", "df -Pk \"$1\" | awk 'NR == 2 { print $4 }'", "sh", path},
        Processes::ErrorOutput::inherited);
    const std::string_view text = asText(result.output);
    constexpr double block = 1024;
    std::int64_t blocks = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), blocks);
    return error == std::errc() ? std::optional(static_cast<double>(blocks) * block) : std::nullopt;
}

} // namespace

void checkFiles(Contract& contract) {
    Files& files = contract.platform().files;
    const TemporaryFolder folder;
    contract.that("the home directory is the user's", files.homeDirectory() == contract.surroundings().home);

    files.createDirectory(folder.path() / "a" / "b");
    contract.that("a new directory is its owner's only", permissionsOf(folder.path() / "a" / "b") == 0700);
    ::chmod((folder.path() / "a").c_str(), 0755);
    files.makePrivate(folder.path() / "a");
    contract.that("a directory can be made private", permissionsOf(folder.path() / "a") == 0700);

    const auto directory = files.openDirectory(folder.path());
    directory->replace("text", asBytes("first"));
    directory->replace("text", asBytes("second"));
    contract.that("a file is replaced", contentOf(*directory, "text") == "second");
    contract.that("a new file is its owner's only", permissionsOf(folder.path() / "text") == 0600);
    contract.that("nothing else is left behind", directory->names().size() == 2);

    const auto handle = directory->open("text", FileAccess::update);
    contract.that("the end is the size", handle->seekToEnd() == 6);
    handle->write(asBytes("!"));
    handle->synchronize();
    handle->truncate(3);
    handle->write(asBytes("X"));
    handle->close();
    contract.that("a file is cut and written on", contentOf(*directory, "text") == "secX");

    const WallTime now = contract.platform().clock.now();
    const auto modified = directory->attributes("text").modified;
    constexpr auto tolerance = std::chrono::minutes(10);
    contract.that("the time of a file is that of the clock",
                  modified && *modified > now - tolerance && *modified < now + tolerance);

    std::filesystem::create_symlink("text", folder.path() / "link");
    contract.that("a link is a link", directory->attributes("link").type == FileType::symbolicLink);
    contract.fails("a link is not opened", FileErrorCode::notRegularFile,
                   [&] { static_cast<void>(directory->open("link", FileAccess::read)); });
    const Bytes followed = readBytes(*files.openForReading(folder.path() / "link"), longest);
    contract.that("a link of the path is followed", asText(followed) == "secX");
    ::mkfifo((folder.path() / "pipe").c_str(), 0600);
    contract.fails("a FIFO is refused at once", FileErrorCode::notRegularFile,
                   [&] { static_cast<void>(directory->open("pipe", FileAccess::read)); });
    contract.fails("a missing file is a missing file", FileErrorCode::readNoSuchFile,
                   [&] { static_cast<void>(directory->open("missing", FileAccess::read)); });
    bool refused = false;
    try {
        directory->remove("a");
    } catch (const PlatformError& error) { // systems differ in why
        refused = error.domain() == ErrorDomain::file;
    }
    contract.that("a directory is not removed", refused && std::filesystem::exists(folder.path() / "a"));

    const auto lock = directory->lock("lock");
    contract.that("a lock is taken once", lock != nullptr && directory->lock("lock") == nullptr);
}

void checkFolders(Contract& contract) {
    const Folders& folders = contract.platform().folders;
    const TemporaryFolder temporary;
    const auto folder = folders.open(temporary.path());
    folder->createFolder("one");
    folder->createFolder("two");
    contract.fails("a move replaces nothing", FileErrorCode::writeFileExists,
                   [&] { folder->move("one", *folder, "two"); });
    folder->move("one", *folder->openFolder("two"), "inner");
    contract.that("a tree is moved",
                  !folder->exists("one") && folders.exists(temporary.path() / "two" / "inner"));
    folder->openFolder("two")->files().replace("file", asBytes("x"));
    folder->removeTree("two");
    contract.that("a tree is removed", !folder->exists("two"));
    contract.that("a folder of ours is writable", folders.isWritable(temporary.path()));
    contract.that("the system's is not", !folders.isWritable("/System/Library"));

    const auto expected = spaceByDf(contract.platform(), temporary.path());
    const auto space = folders.availableSpace(temporary.path());
    contract.that("the space of a volume is about what df says",
                  expected && space && static_cast<double>(*space) > *expected * 0.9 &&
                      static_cast<double>(*space) < *expected * 1.1);
    contract.fails("no volume, no space", FileErrorCode::readNoSuchFile,
                   [&] { static_cast<void>(folders.availableSpace(temporary.path() / "missing")); });
}

} // namespace InstallerCore::HostContract
