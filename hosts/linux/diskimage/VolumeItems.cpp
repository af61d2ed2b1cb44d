#include "hosts/linux/diskimage/VolumeItems.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <ranges>
#include <string_view>
#include <unordered_map>

namespace InstallerCore {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view privateFolder = "\0\0\0\0HFS+ Private Data"sv;
constexpr std::string_view sharedFile = "iNode";

// Top entries of a volume that are the file system's own.
constexpr auto hiddenNames =
    std::to_array<std::string_view>({privateFolder, ".HFS+ Private Directory Data\r", ".fseventsd",
                                     ".Trashes", ".journal", ".journal_info_block"});

bool isHidden(std::string_view path) {
    const std::string_view top = path.substr(0, path.find('/'));
    return std::ranges::find(hiddenNames, top) != hiddenNames.end();
}

[[noreturn]] void refuse() {
    throw DiskImageError("the listing of the volume does not match the volume");
}

// "-rwsr-xr-x", or nothing where the volume does not tell. Set-uid, set-gid and sticky bits are dropped.
unsigned permissions(const ListedItem& item) {
    constexpr unsigned ofFolder = 0755;
    constexpr unsigned ofFile = 0644;
    constexpr std::size_t length = 10;
    if (item.mode.size() < length) {
        return item.folder ? ofFolder : ofFile;
    }
    unsigned mode = 0;
    for (const char letter : item.mode.substr(1, length - 1)) {
        const bool granted = letter != '-' && letter != 'S' && letter != 'T';
        mode = mode << 1U | static_cast<unsigned>(granted);
    }
    return mode;
}

VolumeItem::Kind kindOf(const ListedItem& item) {
    if (item.folder) {
        return VolumeItem::Kind::folder;
    }
    switch (item.mode.empty() ? '-' : item.mode.front()) {
    case '-':
        return VolumeItem::Kind::file;
    case 'l':
        return VolumeItem::Kind::link;
    default:
        return VolumeItem::Kind::special;
    }
}

VolumeItem itemFrom(const ListedItem& listed) {
    return {.kind = kindOf(listed),
            .path = listed.path,
            .attribute = {},
            .mode = permissions(listed),
            .size = listed.size,
            .modified = listed.modified};
}

// Only the user's namespace is open to everybody; no volume may say anything in the system's own.
std::string linuxAttribute(std::string_view name) {
    if (name == "rsrc") {
        name = "com.apple.ResourceFork";
    }
    constexpr std::string_view space = "user.";
    return name.starts_with(space) ? std::string(name) : std::string(space).append(name);
}

// Which item a listed path names, and which one a stream belongs to.
class Owners {
public:
    void add(const std::string& path, std::size_t index) {
        if (const auto [place, fresh] = indexes_.try_emplace(path, index); !fresh) {
            place->second = std::nullopt;
        }
    }

    struct Stream {
        std::size_t owner;
        std::string_view name;
    };

    [[nodiscard]] Stream ownerOf(std::string_view stream) const {
        std::optional<Stream> found;
        for (std::size_t colon = stream.find(':'); colon != std::string_view::npos;
             colon = stream.find(':', colon + 1)) {
            const auto place = indexes_.find(std::string(stream.substr(0, colon)));
            if (place == indexes_.end()) {
                continue;
            }
            if (found || !place->second) {
                throw DiskImageError("it is not clear which entry an extended attribute belongs to");
            }
            found = Stream{.owner = *place->second, .name = stream.substr(colon + 1)};
        }
        if (!found) {
            refuse();
        }
        return *found;
    }

private:
    std::unordered_map<std::string, std::optional<std::size_t>> indexes_;
};

void joinAttributes(const VolumeListing& listing, std::vector<VolumeItem>& items) {
    Owners owners;
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (!listing.items[index].stream) {
            owners.add(listing.items[index].path, index);
        }
    }
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (listing.items[index].stream) {
            const auto [owner, name] = owners.ownerOf(listing.items[index].path);
            const bool hidden = items[owner].kind == VolumeItem::Kind::hidden;
            items[index].kind = hidden ? VolumeItem::Kind::hidden : VolumeItem::Kind::attribute;
            items[index].owner = owner;
            items[index].attribute = linuxAttribute(name);
        }
    }
}

// Resolves the numbers of folders to paths.
class HfsPaths {
public:
    explicit HfsPaths(const std::vector<HfsEntry>& catalog) {
        paths_.emplace(hfsRootFolder, "");
        for (const HfsEntry& entry : catalog) {
            if (entry.folder && entry.number != hfsRootFolder &&
                !folders_.emplace(entry.number, &entry).second) {
                refuse();
            }
        }
    }

    [[nodiscard]] std::string pathOf(const HfsEntry& entry) {
        std::vector<const HfsEntry*> chain;
        std::uint32_t parent = entry.parent;
        while (!paths_.contains(parent)) {
            const auto place = folders_.find(parent);
            if (place == folders_.end() || chain.size() == mostLevels) {
                throw DiskImageError(
                    "the volume holds an entry that is in no folder, or too deep in folders");
            }
            chain.push_back(place->second);
            parent = place->second->parent;
        }
        std::string path = paths_.at(parent);
        for (const HfsEntry* const folder : std::views::reverse(chain)) {
            path = join(path, folder->name);
            paths_.emplace(folder->number, path);
        }
        return join(path, entry.name);
    }

private:
    static constexpr std::size_t mostLevels = 1'000;

    [[nodiscard]] static std::string join(const std::string& folder, const std::string& name) {
        return folder.empty() ? name : folder + "/" + name;
    }

    std::unordered_map<std::uint32_t, const HfsEntry*> folders_;
    std::unordered_map<std::uint32_t, std::string> paths_;
};

// Whether the listing's name is this one, with what it replaces replaced.
bool isShownAs(std::string_view name, std::string_view listedPath) {
    const std::string_view listed = listedPath.substr(listedPath.rfind('/') + 1);
    if (name == privateFolder) {
        return listed == "[HFS+ Private Data]";
    }
    return std::ranges::equal(name, listed, [](char exact, char shown) {
        return exact == shown || (shown == '_' && (exact == ':' || exact == '\n' || exact == '\0'));
    });
}

std::uint32_t sharedNumber(std::string_view name) {
    std::uint32_t number = 0;
    if (name.starts_with(sharedFile)) {
        std::from_chars(name.data() + sharedFile.size(), name.data() + name.size(), number);
    }
    return number;
}

VolumeItem hfsItem(const ListedItem& listed, const HfsEntry& entry, std::string path) {
    if (listed.folder != entry.folder || !isShownAs(entry.name, listed.path)) {
        refuse();
    }
    VolumeItem item = itemFrom(listed);
    item.path = std::move(path);
    if (entry.folderLink) {
        throw DiskImageError("the volume holds a hard link to a folder");
    }
    if (item.path.starts_with(std::string(privateFolder) + "/") && item.kind == VolumeItem::Kind::file) {
        item.shared = sharedNumber(entry.name);
    }
    if (item.shared == 0 && isHidden(item.path)) {
        item.kind = VolumeItem::Kind::hidden;
    } else if (entry.fileLink != 0) {
        item.kind = VolumeItem::Kind::hardLink;
        item.shared = entry.fileLink;
    }
    return item;
}

std::string_view withoutTop(std::string_view path) {
    const std::size_t slash = path.find('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
}

} // namespace

VolumeContent hfsContent(const VolumeListing& listing, const std::vector<HfsEntry>& catalog) {
    if (catalog.empty() || catalog.front().parent != hfsParentOfRoot ||
        catalog.front().number != hfsRootFolder || !catalog.front().folder) {
        refuse();
    }
    HfsPaths paths(catalog);
    VolumeContent content{.name = catalog.front().name, .items = {}};
    auto entry = catalog.begin();
    for (const ListedItem& listed : listing.items) {
        if (listed.stream) {
            content.items.push_back(itemFrom(listed));
            continue;
        }
        if (entry == catalog.end()) {
            refuse();
        }
        const bool root = entry == catalog.begin();
        content.items.push_back(hfsItem(listed, *entry, root ? std::string() : paths.pathOf(*entry)));
        ++entry;
    }
    if (entry != catalog.end()) {
        refuse();
    }
    joinAttributes(listing, content.items);
    return content;
}

std::vector<VolumeContent> apfsContents(const VolumeListing& listing) {
    const bool several = listing.volumeNames.size() > 1;
    std::vector<VolumeContent> contents;
    for (const std::string& name : listing.volumeNames) {
        VolumeContent content{.name = name, .items = {}};
        for (const ListedItem& listed : listing.items) {
            VolumeItem item = itemFrom(listed);
            if (several) { // then each volume has a top folder
                const bool other = item.path.substr(0, item.path.find('/')) != name;
                item.path = withoutTop(item.path);
                item.kind = other ? VolumeItem::Kind::hidden : item.kind;
            }
            if (isHidden(item.path)) {
                item.kind = VolumeItem::Kind::hidden;
            }
            content.items.push_back(std::move(item));
        }
        joinAttributes(listing, content.items);
        contents.push_back(std::move(content));
    }
    return contents;
}

} // namespace InstallerCore
