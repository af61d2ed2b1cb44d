#include "hosts/linux/diskimage/VolumeWriter.h"

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/diskimage/DiskFailure.h"
#include "hosts/linux/diskimage/VolumeRules.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ranges>

namespace InstallerCore {

namespace {

using Kind = VolumeItem::Kind;

constexpr const char* sharedFiles = "shared";
constexpr mode_t privateFolder = 0700;
constexpr mode_t privateFile = 0600;

class Writer {
public:
    Writer(const VolumeContent& content, SevenZipStream& stream, int directory)
        : content_(content), stream_(stream), directory_(directory) {}

    std::size_t write() {
        makeFolders();
        for (const VolumeItem& item : content_.items) {
            takeData(item);
        }
        stream_.finish();
        for (const VolumeItem& item : content_.items) {
            if (item.kind == Kind::hardLink) {
                makeHardLink(item);
            }
        }
        finishEntries();
        return leftOut_;
    }

private:
    // Relative to the directory. No component is a link, since only this process has written there and no
    // item lies under a link.
    [[nodiscard]] static std::string placeOf(const VolumeItem& item) {
        if (item.kind == Kind::file && item.shared != 0) {
            return std::string(sharedFiles) + "/" + std::to_string(item.shared);
        }
        return item.path.empty() ? volumeTree : std::string(volumeTree) + "/" + item.path;
    }

    [[noreturn]] static void fail(const VolumeItem& item) {
        throwDiskFailure("\"" + shown(item.path) + "\" cannot be written", errno);
    }

    void makeFolders() {
        for (const char* const name : {volumeTree, sharedFiles}) {
            if (::mkdirat(directory_, name, privateFolder) != 0) {
                throwDiskFailure("the volume cannot be written", errno);
            }
        }
        for (const VolumeItem& item : content_.items) {
            if (item.kind == Kind::folder && !item.path.empty()) {
                folders_.push_back(&item);
            }
        }
        std::ranges::sort(folders_, {}, &VolumeItem::path); // then each comes behind the one that it is in
        for (const VolumeItem* const folder : folders_) {
            if (::mkdirat(directory_, placeOf(*folder).c_str(), privateFolder) != 0) {
                fail(*folder);
            }
        }
    }

    void takeData(const VolumeItem& item) {
        switch (item.kind) {
        case Kind::file:
            writeFile(item);
            return;
        case Kind::link:
            makeLink(item);
            return;
        case Kind::attribute:
            setAttribute(item);
            return;
        case Kind::folder:
        case Kind::hardLink:
        case Kind::hidden:
        case Kind::special:
            skip(item.size);
            return;
        }
    }

    void skip(std::int64_t size) {
        copyTo(size, [](ByteView) {});
    }

    template <typename Sink>
    void copyTo(std::int64_t size, Sink sink) {
        while (size > 0) {
            const auto piece = std::span(buffer_).first(static_cast<std::size_t>(
                std::min<std::int64_t>(size, static_cast<std::int64_t>(buffer_.size()))));
            stream_.read(piece);
            sink(piece);
            size -= static_cast<std::int64_t>(piece.size());
        }
    }

    void writeFile(const VolumeItem& item) {
        constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        const Descriptor file(::openat(directory_, placeOf(item).c_str(), flags, privateFile));
        if (file.get() < 0) {
            fail(item);
        }
        copyTo(item.size, [&](ByteView bytes) {
            while (!bytes.empty()) {
                const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
                if (count < 0 && errno != EINTR) {
                    fail(item);
                }
                bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            }
        });
    }

    void makeLink(const VolumeItem& item) {
        std::string target = asString(item, PATH_MAX);
        if (target.ends_with('\0')) { // APFS stores the end of the text as well
            target.pop_back();
        }
        if (target.empty() || target.find('\0') != std::string::npos) {
            throw DiskImageError("\"" + shown(item.path) + "\" is a link without a sensible text");
        }
        if (::symlinkat(target.c_str(), directory_, placeOf(item).c_str()) != 0) {
            fail(item);
        }
    }

    [[nodiscard]] std::string asString(const VolumeItem& item, std::int64_t longest) {
        if (item.size > longest) {
            throw DiskImageError("\"" + shown(item.path) + "\" is a link without a sensible text");
        }
        std::string text;
        copyTo(item.size, [&](ByteView bytes) { text += asText(bytes); });
        return text;
    }

    void setAttribute(const VolumeItem& item) {
        const VolumeItem& owner = content_.items[item.owner];
        if (owner.kind == Kind::link || item.size > longestAttribute) {
            ++leftOut_;
            skip(item.size);
            return;
        }
        const std::string value = asString(item, longestAttribute);
        const Descriptor entry(
            ::openat(directory_, placeOf(owner).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (entry.get() < 0) {
            fail(owner);
        }
        if (::fsetxattr(entry.get(), item.attribute.c_str(), value.data(), value.size(), XATTR_CREATE) == 0) {
            return;
        }
        if (errno != EOPNOTSUPP && errno != ENOSPC && errno != E2BIG && errno != ERANGE) {
            fail(owner);
        }
        ++leftOut_;
    }

    void makeHardLink(const VolumeItem& item) const {
        const std::string source = std::string(sharedFiles) + "/" + std::to_string(item.shared);
        if (::linkat(directory_, source.c_str(), directory_, placeOf(item).c_str(), 0) != 0) {
            fail(item);
        }
    }

    // Folders last and from the inside, since whatever is made in one changes its time and may be forbidden.
    void finishEntries() {
        for (const VolumeItem& item : content_.items) {
            if (item.kind == Kind::file || item.kind == Kind::link) {
                finish(item);
            }
        }
        for (const VolumeItem* const folder : std::views::reverse(folders_)) {
            finish(*folder);
        }
    }

    void finish(const VolumeItem& item) const {
        const std::string place = placeOf(item);
        const std::array<timespec, 2> times{item.modified, item.modified};
        const bool modeKept =
            item.kind == Kind::link || ::fchmodat(directory_, place.c_str(), item.mode, 0) == 0;
        if (!modeKept || ::utimensat(directory_, place.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) {
            fail(item);
        }
    }

    static constexpr std::int64_t longestAttribute = 65'536;

    const VolumeContent& content_;
    SevenZipStream& stream_;
    int directory_;
    std::vector<const VolumeItem*> folders_;
    std::vector<std::byte> buffer_ = std::vector<std::byte>(std::size_t{1} << 20U);
    std::size_t leftOut_ = 0;
};

} // namespace

std::size_t writeVolume(const VolumeContent& content, SevenZipStream& stream, int directory) {
    return Writer(content, stream, directory).write();
}

} // namespace InstallerCore
