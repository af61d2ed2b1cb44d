#include "tests/integration/signatures/EntryDamages.h"

#include "rehearsal/signing/MachOSigner.h"
#include "tests/integration/signatures/AttributeDamages.h"
#include "tests/integration/signatures/CodeMap.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

namespace fs = std::filesystem;

using Make = std::function<void(const fs::path&)>;

void makeFifo(const fs::path& path) {
    if (::mkfifo(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
        throw std::runtime_error("a FIFO cannot be made: " + path.string());
    }
}

void makeDirectory(const fs::path& path) {
    fs::create_directory(path);
}

Make makeFile(const std::string& content) {
    return [content](const fs::path& path) { writeFile(path, content); };
}

Make makeLink(const fs::path& target) {
    return [target](const fs::path& path) { fs::create_symlink(target, path); };
}

std::string inOtherCase(std::string name) {
    const auto letter = std::find_if(name.begin(), name.end(),
                                     [](unsigned char character) { return std::isalpha(character) != 0; });
    if (letter != name.end()) {
        const auto character = static_cast<unsigned char>(*letter);
        *letter = static_cast<char>(std::islower(character) != 0 ? std::toupper(character)
                                                                 : std::tolower(character));
    }
    return name;
}

class EntryDamages {
public:
    explicit EntryDamages(DamageCampaign& campaign)
        : campaign_(campaign), root_(campaign.subject().path), shelf_(root_.string() + ".shelf") {}

    void run() {
        std::vector<fs::path> entries;
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            entries.push_back(entry.path());
        }
        std::sort(entries.begin(), entries.end());
        addTo(root_);
        for (const fs::path& entry : entries) {
            damage(entry);
            campaign_.expectSound();
        }
    }

private:
    [[nodiscard]] Damage of(const std::string& kind, const fs::path& entry) const {
        return {.kind = kind, .part = "", .file = entry.lexically_relative(root_).string()};
    }

    // The entry is moved away, and may be replaced.
    void replace(const std::string& kind, const fs::path& entry, const Make& make) {
        campaign_.attempt(
            of(kind, entry),
            [&] {
                fs::rename(entry, shelf_);
                make(entry);
            },
            [&] {
                fs::remove_all(entry);
                fs::rename(shelf_, entry);
            });
    }

    void rename(const std::string& kind, const fs::path& entry, const std::string& name) {
        const fs::path other = entry.parent_path() / name;
        if (!fs::exists(fs::symlink_status(other))) {
            campaign_.attempt(
                of(kind, entry), [&] { fs::rename(entry, other); }, [&] { fs::rename(other, entry); });
        }
    }

    void add(const std::string& kind, const fs::path& entry, const Make& make) {
        if (!fs::exists(fs::symlink_status(entry))) {
            campaign_.attempt(of(kind, entry), [&] { make(entry); }, [&] { fs::remove_all(entry); });
        }
    }

    void damage(const fs::path& entry) {
        replace("an entry removed", entry, [](const fs::path&) {});
        rename("an entry renamed", entry, entry.filename().string() + "x");
        rename("an entry renamed in case", entry, inOtherCase(entry.filename().string()));
        replace("an entry replaced by a FIFO", entry, makeFifo);
        if (fs::is_symlink(entry)) {
            damageLink(entry);
            return;
        }
        if (fs::is_directory(entry)) {
            damageDirectory(entry);
            addTo(entry);
        } else {
            damageFile(entry);
            alterFile(entry);
        }
        relink(entry);
        changeMetadata(entry);
    }

    // By links to itself, which lies outside of the bundle or beside its place by then.
    void relink(const fs::path& entry) {
        replace("an entry replaced by a link to itself elsewhere", entry, makeLink(shelf_));
        const fs::path beside = entry.string() + " itself";
        campaign_.attempt(
            of("an entry replaced by a link to itself beside it", entry),
            [&] {
                fs::rename(entry, beside);
                fs::create_symlink(beside.filename(), entry);
            },
            [&] {
                fs::remove(entry);
                fs::rename(beside, entry);
            });
    }

    void damageFile(const fs::path& file) {
        replace("a file replaced by an empty directory", file, makeDirectory);
        replace("a file replaced by a directory with it", file, [&](const fs::path& path) {
            fs::create_directory(path);
            fs::copy_file(shelf_, path / path.filename());
        });
        replace("a file replaced by its like", file,
                [&](const fs::path& path) { fs::copy_file(shelf_, path); });
        replace("a file replaced by a hard link to itself", file,
                [&](const fs::path& path) { fs::create_hard_link(shelf_, path); });
    }

    void alterFile(const fs::path& file) {
        const std::string name = file.lexically_relative(root_).string();
        const std::string content = readFile(file);
        const auto rewrite = [&](const std::string& kind, const std::string& changed) {
            campaign_.rewrite({.kind = kind, .part = "", .file = name}, changed);
        };
        if (!content.empty()) {
            const auto flip = [&](const std::string& kind, std::size_t offset) {
                const bool isUnused = Rehearsal::isMachO(file) && isPadding(asBytes(content), offset);
                campaign_.flip(
                    {.kind = kind, .part = isUnused ? "padding behind a signature" : "", .file = name},
                    offset, std::byte{1});
            };
            flip("the first byte of a file altered", 0);
            flip("a byte within a file altered", content.size() / 2);
            flip("the last byte of a file altered", content.size() - 1);
        }
        rewrite("a file longer by a byte", content + '\n');
        rewrite("a file longer by a zero", content + '\0');
        rewrite("a file shorter by a byte", content.substr(0, content.size() - (content.empty() ? 0 : 1)));
        rewrite("a file emptied", "");
    }

    void damageDirectory(const fs::path& directory) {
        replace("a directory replaced by an empty one", directory, makeDirectory);
        replace("a directory replaced by a file", directory, makeFile(""));
    }

    void damageLink(const fs::path& link) {
        const fs::path target = fs::read_symlink(link);
        const fs::path destination = fs::canonical(link);
        replace("a link that leads to an absolute path", link, makeLink(destination));
        replace("a link that leads out of the bundle", link, makeLink("/"));
        replace("a link that leads to itself", link, makeLink(link.filename()));
        replace("a link that leads nowhere", link, makeLink(target.string() + "x"));
        replace("a link with a dot before its target", link, makeLink("./" + target.string()));
        replace("a link with a slash behind its target", link, makeLink(target.string() + "/"));
        replace("a link replaced by what it leads to", link, [&](const fs::path& path) {
            fs::copy(destination, path, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        });
        replace("a link replaced by an empty file", link, makeFile(""));
        replace("a link replaced by an empty directory", link, makeDirectory);
        replace("a link replaced by its like", link, makeLink(target));
    }

    void addTo(const fs::path& directory) {
        add("a file added", directory / "added.txt", makeFile("added\n"));
        add("an empty file added", directory / "added", makeFile(""));
        add("a link added", directory / "added link", makeLink("."));
        add("a FIFO added", directory / "added FIFO", makeFifo);
        add("an empty directory added", directory / "added directory", makeDirectory);
        add("an empty directory with a dot added", directory / "added.bundle", makeDirectory);
        add("a file in a directory added", directory / "added folder", [](const fs::path& path) {
            fs::create_directory(path);
            writeFile(path / "added.txt", "added\n");
        });
        add("the Finder's file added", directory / ".DS_Store", makeFile("Bud1"));
        add("the Finder's file added as a FIFO", directory / ".DS_Store", makeFifo);
        add("a version of a language added", directory / "locversion.plist", makeFile("<plist/>\n"));
    }

    void changeMetadata(const fs::path& entry) {
        const fs::perms mode = fs::status(entry).permissions();
        for (const fs::perms other :
             {fs::perms::owner_all, fs::perms::all, fs::perms::owner_all | fs::perms::set_uid}) {
            campaign_.attempt(
                of("other permissions", entry), [&] { fs::permissions(entry, other); },
                [&] { fs::permissions(entry, mode); });
        }
        const auto date = fs::last_write_time(entry);
        campaign_.attempt(
            of("another date", entry), [&] { fs::last_write_time(entry, date - std::chrono::hours(1)); },
            [&] { fs::last_write_time(entry, date); });
        if (keepsAttributes(entry, 1)) {
            constexpr const char* attribute = "user.added";
            campaign_.attempt(
                of("an extended attribute added", entry),
                [&] { ::setxattr(entry.c_str(), attribute, "x", 1, 0); },
                [&] { ::removexattr(entry.c_str(), attribute); });
        }
    }

    DamageCampaign& campaign_;
    const fs::path root_;
    const fs::path shelf_;
};

} // namespace

void damageEntries(DamageCampaign& campaign) {
    EntryDamages(campaign).run();
}

} // namespace InstallerCore::Testing
