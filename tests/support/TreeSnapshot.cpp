#include "tests/support/TreeSnapshot.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace InstallerCore::Testing {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
    throw std::runtime_error("no snapshot of " + path.string());
}

std::string hexadecimal(const unsigned char* bytes, unsigned count) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (unsigned i = 0; i < count; ++i) {
        text << std::setw(2) << static_cast<unsigned>(bytes[i]);
    }
    return text.str();
}

std::string hashOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        fail(file);
    }
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    std::vector<char> buffer(256 * 1024);
    while (stream) {
        stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        EVP_DigestUpdate(context.get(), buffer.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) {
        fail(file);
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &size);
    return hexadecimal(digest.data(), size);
}

std::map<std::string, std::string> attributesOf(const std::filesystem::path& path) {
    constexpr std::size_t most = 64 * 1024;
    std::string list(most, '\0');
    const ssize_t length = ::llistxattr(path.c_str(), list.data(), list.size());
    if (length < 0) {
        if (errno == EOPNOTSUPP) {
            return {};
        }
        fail(path);
    }
    std::map<std::string, std::string> attributes;
    std::istringstream names(list.substr(0, static_cast<std::size_t>(length)));
    for (std::string name; std::getline(names, name, '\0');) {
        std::string value(most, '\0');
        const ssize_t size = ::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        if (size < 0) {
            fail(path);
        }
        attributes[name] = value.substr(0, static_cast<std::size_t>(size));
    }
    return attributes;
}

SnapshotEntry entryOf(const std::filesystem::path& path, const struct stat& status) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    SnapshotEntry entry;
    entry.mode = S_ISLNK(status.st_mode) ? 0 : status.st_mode & 07777U;
    entry.modified = status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec;
    entry.attributes = attributesOf(path);
    if (S_ISDIR(status.st_mode)) {
        entry.type = 'd';
    } else if (S_ISLNK(status.st_mode)) {
        entry.type = 'l';
        entry.link = std::filesystem::read_symlink(path).string();
    } else if (S_ISREG(status.st_mode)) {
        entry.type = 'f';
        entry.size = status.st_size;
        entry.hash = hashOf(path);
    }
    return entry;
}

std::string printed(const SnapshotEntry& entry) {
    std::ostringstream text;
    text << entry.type << " mode " << std::oct << entry.mode << std::dec << " size " << entry.size << " hash "
         << entry.hash.substr(0, 12) << " link \"" << entry.link << "\" modified " << entry.modified;
    for (const auto& [name, value] : entry.attributes) {
        text << ' ' << name << '='
             << hexadecimal(reinterpret_cast<const unsigned char*>(value.data()),
                            static_cast<unsigned>(std::min<std::size_t>(value.size(), 64)));
    }
    if (!entry.sameAs.empty()) {
        text << " same as " << entry.sameAs;
    }
    return text.str();
}

} // namespace

TreeSnapshot::TreeSnapshot(const std::filesystem::path& root) {
    std::vector<std::string> waiting{"."};
    while (!waiting.empty()) {
        const std::string name = std::move(waiting.back());
        waiting.pop_back();
        const std::filesystem::path path = name == "." ? root : root / name;
        struct stat status{};
        if (::lstat(path.c_str(), &status) != 0) {
            fail(path);
        }
        entries_[name] = entryOf(path, status);
        if (S_ISDIR(status.st_mode)) {
            for (const auto& child : std::filesystem::directory_iterator(path)) {
                const std::string childName = child.path().filename().string();
                waiting.push_back(name == "." ? childName : name + "/" + childName);
            }
        } else if (status.st_nlink > 1) {
            entries_[name].sameAs = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
        }
    }
    // Inodes become names, which are the same in every copy.
    std::map<std::string, std::string> firstNames;
    for (auto& [name, entry] : entries_) {
        if (!entry.sameAs.empty()) {
            const std::string first = firstNames.try_emplace(entry.sameAs, name).first->second;
            entry.sameAs = first == name ? "" : first;
        }
    }
}

std::string TreeSnapshot::differences(const TreeSnapshot& other, std::size_t most) const {
    std::map<std::string, std::pair<const SnapshotEntry*, const SnapshotEntry*>> pairs;
    for (const auto& [name, entry] : entries_) {
        pairs[name].first = &entry;
    }
    for (const auto& [name, entry] : other.entries_) {
        pairs[name].second = &entry;
    }
    std::string text;
    for (const auto& [name, pair] : pairs) {
        if (pair.first != nullptr && pair.second != nullptr && *pair.first == *pair.second) {
            continue;
        }
        if (most-- == 0) {
            return text + "...\n";
        }
        text += name + ": " + (pair.first == nullptr ? "absent" : printed(*pair.first)) + " | " +
                (pair.second == nullptr ? "absent" : printed(*pair.second)) + "\n";
    }
    return text;
}

std::ostream& operator<<(std::ostream& stream, const TreeSnapshot& snapshot) {
    constexpr int most = 20;
    int count = 0;
    for (const auto& [name, entry] : snapshot.entries()) {
        if (++count > most) {
            return stream << "... " << snapshot.entries().size() << " entries\n";
        }
        stream << name << ": " << printed(entry) << '\n';
    }
    return stream;
}

} // namespace InstallerCore::Testing
