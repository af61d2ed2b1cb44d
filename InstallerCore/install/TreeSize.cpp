#include "InstallerCore/install/TreeSize.h"

#include "InstallerCore/support/CheckedArithmetic.h"

#include <string>
#include <vector>

namespace InstallerCore {

namespace {

struct Level {
    explicit Level(std::unique_ptr<Folder> opened)
        : folder(std::move(opened)), names(folder->files().names()) {}

    std::unique_ptr<Folder> folder;
    std::vector<std::string> names; // that have not been looked at
};

} // namespace

// Not by recursion: somebody else decides how deep the tree is.
std::int64_t sizeOfTree(std::unique_ptr<Folder> folder) {
    std::int64_t total = 0;
    std::vector<Level> levels;
    levels.emplace_back(std::move(folder));
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.names.empty()) {
            levels.pop_back();
            continue;
        }
        const std::string name = std::move(level.names.back());
        level.names.pop_back();
        const FileAttributes attributes = level.folder->files().attributes(name);
        if (attributes.type == FileType::regular) {
            total = checkedAdd(total, attributes.size);
        } else if (attributes.type == FileType::directory) {
            levels.emplace_back(level.folder->openFolder(name));
        }
    }
    return total;
}

} // namespace InstallerCore
