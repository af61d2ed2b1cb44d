#include "rehearsal/TreeDigest.h"

#include "InstallerCore/support/Bytes.h"
#include "hosts/linux/DigestsOpenSsl.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

// Each with its length before it, so that no two lists of parts run together alike.
class Digest {
public:
    void add(std::string_view part) {
        sha512_->update(asBytes(std::to_string(part.size()) + ":"));
        sha512_->update(asBytes(part));
    }

    [[nodiscard]] std::string finish() { return hexadecimal(sha512_->finish()); }

private:
    std::unique_ptr<Sha512> sha512_ = DigestsOpenSsl().sha512();
};

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string content;
    std::array<char, 65'536> piece{};
    while (stream.read(piece.data(), piece.size()) || stream.gcount() > 0) {
        content.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream.eof()) {
        throw fs::filesystem_error("cannot be read", file, std::make_error_code(std::errc::io_error));
    }
    return content;
}

void addEntry(Digest& digest, const fs::path& entry, const std::string& name) {
    const fs::file_status status = fs::symlink_status(entry);
    digest.add(name);
    digest.add(std::to_string(static_cast<int>(status.type())));
    if (status.type() == fs::file_type::symlink) {
        digest.add(fs::read_symlink(entry).string());
        return;
    }
    digest.add(std::to_string(static_cast<unsigned>(status.permissions())));
    if (status.type() == fs::file_type::regular) {
        digest.add(contentOf(entry));
    }
}

} // namespace

std::string treeDigest(const fs::path& tree) {
    std::vector<fs::path> entries{tree};
    if (fs::symlink_status(tree).type() == fs::file_type::directory) {
        for (const auto& entry : fs::recursive_directory_iterator(tree)) {
            entries.push_back(entry.path());
        }
    }
    std::sort(entries.begin(), entries.end());
    Digest digest;
    for (const fs::path& entry : entries) {
        addEntry(digest, entry, entry.lexically_relative(tree).string());
    }
    return digest.finish();
}

} // namespace InstallerCore::Rehearsal
