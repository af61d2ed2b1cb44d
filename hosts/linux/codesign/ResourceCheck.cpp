#include "hosts/linux/codesign/ResourceCheck.h"

#include "hosts/linux/codesign/SignatureError.h"

#include <algorithm>
#include <memory>

namespace InstallerCore::CodeSign {

namespace {

constexpr unsigned deepest = 128; // directories in one another

void demandKind(EntryKind kind, EntryKind expected) {
    demand(kind == expected, "is not the kind of entry that was sealed");
}

void compare(const MappedFile& file, const Seal::File& seal, const std::set<HashType>& types) {
    for (const HashType type : types) {
        const auto expected = seal.hashes.find(type);
        demand(expected != seal.hashes.end(), "has no seal for each hash of the signature");
        demand(hash(type, file.bytes()) == expected->second, "does not have its sealed content");
    }
    file.demandUnchanged();
}

} // namespace

void ResourceCheck::run(const BundleDirectory& base) {
    directory(base, "", 0);
    for (const auto& [path, seal] : resources_.seals) {
        if (!seal.optional && !found_.contains(path)) {
            throw SignatureError("is sealed, and missing").at(base.place(path));
        }
    }
}

void ResourceCheck::directory(const BundleDirectory& directory, const std::string& prefix, unsigned depth) {
    if (depth > deepest) {
        throw SignatureError("lies too deep").at(directory.place());
    }
    for (const std::string& name : directory.names()) {
        entry(directory, name, prefix, depth);
    }
}

// What is never sealed, since the signature is in it or it is part of the signature.
bool ResourceCheck::isExcluded(const std::string& path) const {
    return path == "_CodeSignature" || path == "CodeResources" || path == "_MASReceipt" ||
           path == mainExecutable_;
}

void ResourceCheck::entry(const BundleDirectory& directory, const std::string& name,
                          const std::string& prefix, unsigned depth) {
    const std::string path = prefix + name;
    if (isExcluded(path)) {
        return;
    }
    const auto kind = directory.kind(name);
    if (!kind) {
        throw SignatureError("vanished while it was looked at").at(directory.place(name));
    }
    const auto seal = resources_.seals.find(path);
    if (seal == resources_.seals.end()) {
        unsealed(directory, name, *kind, prefix, depth);
    } else {
        found_.insert(path);
        sealed(directory, name, *kind, seal->second);
    }
}

void ResourceCheck::sealed(const BundleDirectory& directory, const std::string& name, EntryKind kind,
                           const Seal& seal) {
    const std::string place = directory.place(name);
    if (const auto* const link = std::get_if<Seal::Link>(&seal.content)) {
        at(place, [&] { demandKind(kind, EntryKind::link); });
        const std::string target = directory.target(name);
        at(place, [&] { demand(target == link->target, "does not lead where its seal says"); });
    } else if (const auto* const code = std::get_if<Seal::NestedCode>(&seal.content)) {
        at(place, [&] {
            demand(kind == EntryKind::file || kind == EntryKind::directory,
                   "is not the kind of entry that was sealed");
        });
        nested_(directory, name, code->requirement);
    } else {
        at(place, [&] { demandKind(kind, EntryKind::file); });
        file(directory, name, std::get<Seal::File>(seal.content));
    }
}

void ResourceCheck::file(const BundleDirectory& directory, const std::string& name, const Seal::File& seal) {
    queue_.push([directory, name, &seal, types = types_] {
        const auto content = directory.file(name);
        at(directory.place(name), [&] { compare(*content, seal, *types); });
    });
}

void ResourceCheck::unsealed(const BundleDirectory& directory, const std::string& name, EntryKind kind,
                             const std::string& prefix, unsigned depth) {
    const std::string path = prefix + name;
    const ResourceRules::Verdict verdict = resources_.rules.verdict(path);
    const bool isBundle = verdict.isNested && name.find('.') != std::string::npos;
    if (kind == EntryKind::directory && !isBundle) {
        this->directory(directory.directory(name), path + "/", depth + 1);
        return;
    }
    at(directory.place(name), [&] {
        demand(kind != EntryKind::other, "is neither a file nor a directory nor a link");
        demand(!verdict.isSealed, "is there, and not sealed");
    });
}

} // namespace InstallerCore::CodeSign
