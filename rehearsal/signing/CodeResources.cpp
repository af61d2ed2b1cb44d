#include "rehearsal/signing/CodeResources.h"

#include "hosts/linux/PropertyListWriter.h"
#include "rehearsal/signing/OpenSsl.h"

#include <fstream>
#include <map>
#include <set>

namespace InstallerCore::Rehearsal {

namespace {

using FileDigests = std::map<SignatureHash, Bytes>;

class FileHasher {
public:
    FileDigests hash(const std::filesystem::path& file, const std::set<SignatureHash>& types) {
        std::map<SignatureHash, Owned<EVP_MD_CTX>> running;
        for (const SignatureHash type : types) {
            Owned<EVP_MD_CTX>& context = running[type];
            context = owned(EVP_MD_CTX_new(), "digest");
            check(EVP_DigestInit_ex(context.get(), algorithm(type), nullptr) == 1, "digest");
        }
        std::ifstream stream(file, std::ios::binary);
        while (stream) {
            stream.read(reinterpret_cast<char*>(piece_.data()), static_cast<std::streamsize>(piece_.size()));
            for (const auto& [type, context] : running) {
                check(EVP_DigestUpdate(context.get(), piece_.data(),
                                       static_cast<std::size_t>(stream.gcount())) == 1,
                      "digest");
            }
        }
        if (!stream.eof()) {
            throw std::runtime_error("cannot read " + file.string());
        }
        FileDigests digests;
        for (const auto& [type, context] : running) {
            Bytes& result = digests[type];
            result.resize(static_cast<std::size_t>(EVP_MD_get_size(algorithm(type))));
            check(EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char*>(result.data()),
                                     nullptr) == 1,
                  "digest");
        }
        return digests;
    }

private:
    Bytes piece_ = Bytes(std::size_t{256} << 10U);
};

// The names of digests in the newer half of a seal.
const std::map<SignatureHash, const char*>& digestKeys() {
    static const std::map<SignatureHash, const char*> keys = {
        {SignatureHash::sha1, "hash"}, {SignatureHash::sha256, "hash2"}, {SignatureHash::sha384, "hash4"}};
    return keys;
}

class SealMaker {
public:
    SealMaker(const BundleCode& code, const SealOptions& options,
              const std::function<NestedSeal(const std::filesystem::path&)>& nested)
        : code_(code),
          options_(options),
          nested_(nested),
          newerHashes_(options.hashes.begin(), options.hashes.end()) {
        newerHashes_.insert(SignatureHash::sha256);
        newerHashes_.erase(SignatureHash::sha256Truncated); // sealed as the whole one
    }

    std::string make() {
        for (const SealEntry& entry : entriesOf(code_)) {
            switch (entry.kind) {
            case SealEntry::Kind::file:
                addFile(entry);
                break;
            case SealEntry::Kind::link:
                addLink(entry);
                break;
            case SealEntry::Kind::nestedCode:
                addNested(entry);
                break;
            }
        }
        PropertyDictionary seal;
        if (options_.older) {
            seal["files"] = {std::move(older_)};
            seal["rules"] = {SealRules::older(code_.layout).asPropertyList()};
        }
        if (options_.newer) {
            seal["files2"] = {std::move(newer_)};
            seal["rules2"] = {SealRules::newer(code_.layout).asPropertyList()};
        }
        return writePropertyList({std::move(seal)});
    }

private:
    void addFile(const SealEntry& entry) {
        std::set<SignatureHash> types;
        if (entry.newer && options_.newer) {
            types = newerHashes_;
        }
        if (entry.older && options_.older) {
            types.insert(SignatureHash::sha1);
        }
        if (types.empty()) {
            return;
        }
        const FileDigests digests = hasher_.hash(code_.base / entry.path, types);
        if (entry.older && options_.older) {
            const PropertyValue hash{digests.at(SignatureHash::sha1)};
            older_[entry.path] = entry.optional
                                     ? PropertyValue{PropertyDictionary{{"hash", hash}, {"optional", {true}}}}
                                     : hash;
        }
        if (entry.newer && options_.newer) {
            PropertyDictionary properties;
            for (const SignatureHash type : newerHashes_) {
                properties[digestKeys().at(type)] = {digests.at(type)};
            }
            addNewer(entry, std::move(properties));
        }
    }

    void addLink(const SealEntry& entry) {
        addNewer(entry, {{"symlink", {std::filesystem::read_symlink(code_.base / entry.path).string()}}});
    }

    void addNested(const SealEntry& entry) {
        const NestedSeal seal = nested_(code_.base / entry.path);
        addNewer(entry, {{"cdhash", {seal.cdHash}}, {"requirement", {seal.requirement}}});
    }

    void addNewer(const SealEntry& entry, PropertyDictionary properties) {
        if (entry.optional) {
            properties["optional"] = {true};
        }
        newer_[entry.path] = {std::move(properties)};
    }

    const BundleCode& code_;
    const SealOptions& options_;
    const std::function<NestedSeal(const std::filesystem::path&)>& nested_;
    std::set<SignatureHash> newerHashes_;
    FileHasher hasher_;
    PropertyDictionary older_;
    PropertyDictionary newer_;
};

} // namespace

std::string makeCodeResources(const BundleCode& code, const SealOptions& options,
                              const std::function<NestedSeal(const std::filesystem::path&)>& nested) {
    return SealMaker(code, options, nested).make();
}

} // namespace InstallerCore::Rehearsal
