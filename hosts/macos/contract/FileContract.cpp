#include "InstallerCore/platform/Files.h"
#include "InstallerCore/platform/Folders.h"
#include "InstallerCore/platform/Processes.h"
#include "InstallerCore/platform/ReadText.h"
#include "hosts/macos/contract/Contract.h"
#include "hosts/posix/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>

namespace InstallerCore::MacContract {

namespace {

mode_t permissionsOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

std::string contentOf(Directory& directory, const std::string& name) {
    constexpr std::size_t longest = 1'000'000;
    return readText(directory, name, longest);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "kavio-contract-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw PlatformError(FileErrorCode::writeUnknown);
    }
    path_ = std::filesystem::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void checkFiles(Contract& contract) {
    Files& files = contract.platform().files;
    const TemporaryFolder folder;
    contract.that("there is a home directory", std::filesystem::is_directory(files.homeDirectory()));

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
    contract.that("a link of the path is followed", files.openForReading(folder.path() / "link") != nullptr);
    ::mkfifo((folder.path() / "pipe").c_str(), 0600);
    contract.fails("a FIFO is refused at once", FileErrorCode::notRegularFile,
                   [&] { static_cast<void>(directory->open("pipe", FileAccess::read)); });
    contract.fails("a missing file is a missing file", FileErrorCode::readNoSuchFile,
                   [&] { static_cast<void>(directory->open("missing", FileAccess::read)); });
    contract.fails("a directory is not removed", FileErrorCode::writeNoPermission,
                   [&] { directory->remove("a"); });

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

    struct statvfs volume{};
    const bool told = ::statvfs(temporary.path().c_str(), &volume) == 0;
    const auto expected = static_cast<double>(volume.f_bavail) * static_cast<double>(volume.f_frsize);
    const auto space = folders.availableSpace(temporary.path());
    contract.that("the space of a volume is about what the kernel says",
                  told && space && static_cast<double>(*space) > expected * 0.9 &&
                      static_cast<double>(*space) < expected * 1.1);
    contract.fails("no volume, no space", FileErrorCode::readNoSuchFile,
                   [&] { static_cast<void>(folders.availableSpace(temporary.path() / "missing")); });
}

void checkProcesses(Contract& contract) {
    Processes& processes = contract.platform().processes;
    using Errors = Processes::ErrorOutput;
    const auto shell = [&](const std::string& script, Errors errors) {
        return processes.run("/bin/sh", {"-c", script}, errors);
    };
    const ProcessResult result = shell("echo out; exit 3", Errors::inherited);
    contract.that("status and output come back", result.status == 3 && asText(result.output) == "out\n");
    const bool hasInput = ::fcntl(STDIN_FILENO, F_GETFD) >= 0;
    contract.that("standard input is inherited", hasInput == (shell(": <&0", Errors::inherited).status == 0));
    contract.that("standard error is inherited", shell(": >&2", Errors::inherited).status == 0);
    contract.that("or closed off", shell(": >&2", Errors::discarded).status == 0);
    const Descriptor leak(::dup(STDOUT_FILENO)); // without the flag that closes it
    const ProcessResult open =
        shell("for n in 3 4 5 6 7 8 9; do [ -e /dev/fd/$n ] && echo $n; done", Errors::inherited);
    contract.that("nothing else is", leak.get() >= 3 && leak.get() <= 9 && open.output.empty());
    contract.fails("a missing program is told", ProcessErrorCode::noSuchExecutable,
                   [&] { static_cast<void>(processes.run("/missing", {}, Errors::inherited)); });
}

} // namespace InstallerCore::MacContract
