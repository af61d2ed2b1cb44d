#include "rehearsal/signing/BundleCode.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "rehearsal/signing/MachOFile.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

BundleCode describe(const fs::path& base, const fs::path& informationList, const fs::path& executables,
                    SealLayout layout) {
    const PropertyValue list = PropertyListsLibplist().parse(readBytes(informationList));
    const std::string* const executable = textMember(list, "CFBundleExecutable");
    const std::string* const identifier = textMember(list, "CFBundleIdentifier");
    if (executable == nullptr || executable->find('/') != std::string::npos) {
        throw std::runtime_error("there is no name of an executable in " + informationList.string());
    }
    return {.base = base,
            .informationList = informationList,
            .executable = executables / *executable,
            .identifier = identifier != nullptr ? *identifier : *executable,
            .layout = layout};
}

std::vector<BundleCode> versionsOf(const fs::path& versions) {
    const fs::path current = fs::read_symlink(versions / "Current").filename();
    std::vector<fs::path> names = {current};
    for (const auto& entry : fs::directory_iterator(versions)) {
        if (!entry.is_symlink() && entry.is_directory() && entry.path().filename() != current) {
            names.push_back(entry.path().filename());
        }
    }
    std::vector<BundleCode> all;
    for (const fs::path& name : names) {
        const fs::path base = versions / name;
        all.push_back(describe(base, base / "Resources/Info.plist", base, SealLayout::withResources));
    }
    return all;
}

// What belongs to the signature itself.
bool isNeverSealed(const BundleCode& code, const std::string& path) {
    constexpr std::array<std::string_view, 3> names = {"_CodeSignature", "CodeResources", "_MASReceipt"};
    return std::find(names.begin(), names.end(), path) != names.end() || code.base / path == code.executable;
}

class Collector {
public:
    explicit Collector(const BundleCode& code)
        : code_(code), older_(SealRules::older(code.layout)), newer_(SealRules::newer(code.layout)) {}

    void visit(const std::string& folder) {
        std::vector<fs::directory_entry> children;
        for (const auto& entry : fs::directory_iterator(code_.base / folder)) {
            children.push_back(entry);
        }
        std::sort(children.begin(), children.end());
        for (const fs::directory_entry& child : children) {
            const std::string name = child.path().filename().string();
            const std::string path = (fs::path(folder) / name).string();
            if (!isNeverSealed(code_, path)) {
                add(child, path);
            }
        }
    }

    std::vector<SealEntry> entries;

private:
    void add(const fs::directory_entry& child, const std::string& path) {
        const SealRule* const rule = newer_.match(path);
        const bool nested = rule != nullptr && rule->nested;
        if (child.is_symlink()) {
            put(path, SealEntry::Kind::link, rule);
        } else if (!child.is_directory()) {
            put(path, nested ? SealEntry::Kind::nestedCode : SealEntry::Kind::file, rule);
        } else if (nested && child.path().filename().string().find('.') != std::string::npos) {
            put(path, SealEntry::Kind::nestedCode, rule);
        } else {
            visit(path);
        }
    }

    void put(const std::string& path, SealEntry::Kind kind, const SealRule* rule) {
        const SealRule* const olderRule = older_.match(path);
        const SealEntry entry{.path = path,
                              .kind = kind,
                              .optional = rule != nullptr && rule->optional,
                              .older =
                                  kind == SealEntry::Kind::file && olderRule != nullptr && !olderRule->omit,
                              .newer = rule != nullptr && !rule->omit};
        if (entry.older || entry.newer) {
            entries.push_back(entry);
        }
    }

    const BundleCode& code_;
    SealRules older_;
    SealRules newer_;
};

} // namespace

std::vector<BundleCode> codeOfBundle(const fs::path& bundle) {
    const fs::path contents = bundle / "Contents";
    if (fs::is_directory(contents)) {
        return {describe(contents, contents / "Info.plist", contents / "MacOS", SealLayout::withResources)};
    }
    if (fs::is_directory(bundle / "Versions")) {
        return versionsOf(bundle / "Versions");
    }
    return {describe(bundle, bundle / "Info.plist", bundle, SealLayout::flat)};
}

std::vector<SealEntry> entriesOf(const BundleCode& code) {
    Collector collector(code);
    collector.visit("");
    return std::move(collector.entries);
}

} // namespace InstallerCore::Rehearsal
