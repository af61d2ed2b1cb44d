#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>

namespace InstallerCore::Testing {

// One entry of a tree, links not followed.
struct SnapshotEntry {
    char type = '?';                               // 'd' directory, 'f' file, 'l' link, '?' anything else
    unsigned mode = 0;                             // with the set-uid, set-gid and sticky bits; 0 for links
    std::int64_t size = 0;                         // of files
    std::string hash;                              // SHA-256 of a file's content, in hexadecimal
    std::string link;                              // text of a link
    std::int64_t modified = 0;                     // nanoseconds since 1970
    std::map<std::string, std::string> attributes; // extended ones, access control lists among them
    std::string sameAs; // the first path in the snapshot that is the same inode, when that is another

    bool operator==(const SnapshotEntry&) const = default;
};

// What a tree looks like, for tests to compare. Two equal ones differ in nothing that is named above.
class TreeSnapshot {
public:
    // Of the entry, which has the path "." in it, and of all that is below. Throws when something cannot be
    // read.
    explicit TreeSnapshot(const std::filesystem::path& root);

    // By paths below the root, bytes as they are.
    [[nodiscard]] const std::map<std::string, SnapshotEntry>& entries() const noexcept { return entries_; }

    [[nodiscard]] const SnapshotEntry& at(const std::string& path) const { return entries_.at(path); }

    // The first differences to the other, a line each; empty when there is none.
    [[nodiscard]] std::string differences(const TreeSnapshot& other, std::size_t most = 10) const;

    bool operator==(const TreeSnapshot&) const = default;

private:
    std::map<std::string, SnapshotEntry> entries_;
};

// What EXPECT_EQ prints of one that does not fit; use EXPECT_EQ(a.differences(b), "") to see where they part.
std::ostream& operator<<(std::ostream& stream, const TreeSnapshot& snapshot);

} // namespace InstallerCore::Testing
