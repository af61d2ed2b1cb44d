#include "hosts/linux/codesign/StaticVerification.h"

#include "hosts/linux/codesign/BundleLayout.h"
#include "hosts/linux/codesign/CodeResources.h"
#include "hosts/linux/codesign/MachOFile.h"
#include "hosts/linux/codesign/ResourceCheck.h"
#include "hosts/linux/codesign/SignatureError.h"
#include "hosts/linux/codesign/SliceVerification.h"
#include "hosts/posix/WorkQueue.h"

#include <list>
#include <set>

namespace InstallerCore::CodeSign {

namespace {

constexpr unsigned deepest = 16; // bundles in one another
constexpr unsigned mostThreads = 8;
constexpr const char* signatureFolder = "_CodeSignature";
constexpr const char* resourcesFile = "CodeResources";

// A file with code, and what else its signature is about.
struct CodeFile {
    std::string place;
    std::shared_ptr<const MappedFile> file;
    std::optional<ByteView> infoPlist; // the bundle's
    std::optional<ByteView> resources;
    CodeSignature::Lookup outside; // where the signature is when it is not in the file
};

std::vector<SignedSlice> machOSignatures(const CodeFile& code) {
    std::vector<SignedSlice> result;
    for (const MachOSlice& slice : at(code.place, [&] { return machOSlices(code.file->bytes()); })) {
        std::string place =
            slice.architecture.empty() ? code.place : code.place + " (" + slice.architecture + ")";
        auto signature = at(place, [&] {
            demand(!slice.signature.empty(), "is not signed");
            return std::make_shared<const CodeSignature>(slice.signature);
        });
        const auto embedded = slice.infoPlist.empty() ? std::nullopt : std::optional(slice.infoPlist);
        result.push_back({.place = std::move(place),
                          .architecture = slice.architecture,
                          .file = code.file,
                          .code = slice.image.first(slice.signatureOffset),
                          .signature = std::move(signature),
                          .infoPlist = code.infoPlist ? code.infoPlist : embedded,
                          .resources = code.resources});
    }
    return result;
}

std::vector<SignedSlice> signaturesOf(const CodeFile& code) {
    if (isMachO(code.file->bytes())) {
        return machOSignatures(code);
    }
    return {{.place = code.place,
             .architecture = "",
             .file = code.file,
             .code = code.file->bytes(),
             .signature = at(code.place, [&] { return std::make_shared<const CodeSignature>(code.outside); }),
             .infoPlist = code.infoPlist,
             .resources = code.resources}};
}

// Scripts keep their signature in extended attributes, which on Linux need a prefix.
CodeSignature::Lookup attributesOf(std::shared_ptr<const MappedFile> file) {
    return [file = std::move(file)](const std::string& name) {
        return file->attribute("user.com.apple.cs." + name);
    };
}

// A bundle whose main executable is a script keeps it beside its list of seals. Notes what it used.
CodeSignature::Lookup filesIn(const BundleDirectory& folder, std::set<std::string>& used) {
    return [&folder, &used](const std::string& name) {
        auto content = folder.content(name);
        if (content) {
            used.insert(name);
        }
        return content;
    };
}

void checkSignatureFolder(const BundleDirectory& folder, const std::set<std::string>& used) {
    for (const std::string& name : folder.names()) {
        if (name != resourcesFile && !used.contains(name)) {
            throw SignatureError("does not belong to the signature").at(folder.place(name));
        }
    }
}

class Verification {
public:
    Verification(const TrustRoots& roots, std::time_t now)
        : context_{.roots = roots, .now = now, .queue = queue_} {}

    std::vector<VerifiedSlice> path(const std::filesystem::path& path, const Requirement* requirement) {
        const auto directory = BundleDirectory::open(path);
        try {
            std::vector<VerifiedSlice> result = directory
                                                    ? bundle(readBundleLayout(*directory), requirement, 0)
                                                    : executable(path, requirement);
            queue_.finish();
            return result;
        } catch (const SignatureError&) {
            queue_.finish(); // of several faults the first is reported, the same one each time
            throw;
        }
    }

private:
    std::vector<VerifiedSlice> executable(const std::filesystem::path& path, const Requirement* requirement) {
        std::error_code error;
        const auto real = std::filesystem::canonical(path, error);
        const auto folder = error ? std::nullopt : BundleDirectory::open(real.parent_path());
        demand(folder.has_value(), "there is nothing that can be read");
        return looseCode(*folder, real.filename().string(), requirement);
    }

    std::vector<VerifiedSlice> slices(const CodeFile& code, const Requirement* requirement,
                                      std::set<HashType>* types) {
        std::vector<VerifiedSlice> result;
        for (const SignedSlice& slice : signaturesOf(code)) {
            result.push_back(verifySlice(slice, requirement, context_));
            if (types != nullptr) {
                types->merge(slice.signature->hashTypes());
            }
        }
        return result;
    }

    std::vector<VerifiedSlice> looseCode(const BundleDirectory& directory, const std::string& name,
                                         const Requirement* requirement) {
        const auto file = directory.file(name);
        return slices({.place = directory.place(name),
                       .file = file,
                       .infoPlist = {},
                       .resources = {},
                       .outside = attributesOf(file)},
                      requirement, nullptr);
    }

    std::vector<VerifiedSlice> bundle(const BundleLayout& layout, const Requirement* requirement,
                                      unsigned depth) {
        const std::string place = layout.base.place(layout.executablePath);
        if (layout.base.kind(signatureFolder) != EntryKind::directory) {
            throw SignatureError("is missing").at(layout.base.place(signatureFolder));
        }
        const BundleDirectory folder = layout.base.directory(signatureFolder);
        const auto list = folder.content(resourcesFile);
        if (!list) {
            throw SignatureError("is missing").at(folder.place(resourcesFile));
        }
        std::set<std::string> used;
        std::set<HashType> types;
        std::vector<VerifiedSlice> result = slices({.place = place,
                                                    .file = layout.executable,
                                                    .infoPlist = layout.infoPlist,
                                                    .resources = *list,
                                                    .outside = filesIn(folder, used)},
                                                   requirement, &types);
        checkSignatureFolder(folder, used);
        const CodeResources& resources = resources_.emplace_back(
            at(folder.place(resourcesFile), [&] { return readCodeResources(*list); }));
        ResourceCheck(queue_, resources, std::move(types), layout.executablePath,
                      [&](const BundleDirectory& directory, const std::string& name,
                          const std::string& text) { nested(directory, name, text, depth + 1); })
            .run(layout.base);
        for (const BundleDirectory& version : layout.otherVersions) {
            bundle(readVersionLayout(version), requirement, depth);
        }
        return result;
    }

    void nested(const BundleDirectory& directory, const std::string& name, const std::string& text,
                unsigned depth) {
        const std::string place = directory.place(name);
        const auto requirement = at(place, [&] {
            demand(depth <= deepest, "is nested too deep");
            auto compiled = Requirement::compile(text);
            demand(compiled.has_value(), "has a sealed requirement that cannot be understood");
            return std::move(*compiled);
        });
        if (directory.kind(name) == EntryKind::directory) {
            bundle(readBundleLayout(directory.directory(name)), &requirement, depth);
        } else {
            looseCode(directory, name, &requirement);
        }
    }

    std::list<CodeResources> resources_; // outlives the checks that look at it
    WorkQueue queue_{{.most = mostThreads}};
    SliceContext context_;
};

} // namespace

std::vector<VerifiedSlice> verifyStatic(const std::filesystem::path& path, const Requirement* requirement,
                                        const TrustRoots& roots, std::time_t now) {
    return Verification(roots, now).path(path, requirement);
}

} // namespace InstallerCore::CodeSign
