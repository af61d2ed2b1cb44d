#include "rehearsal/SampleApplication.h"

#include "InstallerCore/config/BuildConfig.h"
#include "InstallerCore/config/Config.h"
#include "hosts/linux/PropertyListWriter.h"
#include "rehearsal/FatFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace InstallerCore::Rehearsal {

namespace {

namespace fs = std::filesystem;

constexpr std::time_t sampleDate = 1767225600; // 1 January 2026

constexpr fs::perms plain =
    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read;
constexpr fs::perms runnable = plain | fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;

void write(const fs::path& file, std::string_view content) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
        throw std::runtime_error("a file of the sample application cannot be written: " + file.string());
    }
}

void makeExecutable(const fs::path& file) {
    fs::permissions(file, runnable);
}

std::string propertyList(PropertyDictionary entries) {
    return writePropertyList({std::move(entries)});
}

class Maker {
public:
    Maker(const SampleApplicationOptions& options, fs::path bundle)
        : options_(options),
          contents_(bundle / "Contents"),
          bundle_(std::move(bundle)),
          identifier_(options.bundleIdentifier.empty() ? Config::decode(BuildConfig::json()).bundleID
                                                       : options.bundleIdentifier) {}

    void make() const {
        if (!fs::create_directories(contents_)) {
            throw std::runtime_error("there is a sample application already: " + bundle_.string());
        }
        writeInformation();
        writeMachO("Kavio", contents_ / "MacOS/Kavio");
        if (options_.forLinux) {
            copyLinuxExecutable();
        }
        write(contents_ / "Resources/Kavio.txt", "Kavio " + options_.version + "\n");
        fs::create_symlink("Kavio.txt", contents_ / "Resources/Current.txt");
        if (!options_.small) {
            write(contents_ / "PkgInfo", "APPL????");
            writeResources();
            writeFramework();
            writeMachO("KavioHelper", contents_ / "Helpers/KavioHelper");
            writePayload();
        }
        setModes();
        setSampleDates(bundle_);
    }

private:
    void writeInformation() const {
        PropertyDictionary entries = {
            {"CFBundleDevelopmentRegion", {"en"}},      {"CFBundleDisplayName", {"Kavio"}},
            {"CFBundleExecutable", {"Kavio"}},          {"CFBundleIdentifier", {identifier_}},
            {"CFBundleInfoDictionaryVersion", {"6.0"}}, {"CFBundleName", {"Kavio"}},
            {"CFBundlePackageType", {"APPL"}},          {"CFBundleShortVersionString", {options_.version}},
            {"CFBundleVersion", {options_.version}},    {"NSHighResolutionCapable", {true}},
            {"NSPrincipalClass", {"NSApplication"}},
        };
        if (!options_.minimumSystemVersion.empty()) {
            entries["LSMinimumSystemVersion"] = {options_.minimumSystemVersion};
        }
        write(contents_ / "Info.plist", propertyList(std::move(entries)));
    }

    void writeMachO(const std::string& name, const fs::path& file) const {
        fs::create_directories(file.parent_path());
        writeExecutable(options_.executables.empty() ? sampleExecutables() : options_.executables, name,
                        options_.architectures, file);
        makeExecutable(file);
    }

    void copyLinuxExecutable() const {
        fs::create_directories(contents_ / "Linux");
        fs::copy_file(sampleExecutables() / "linux/Kavio", contents_ / "Linux/Kavio");
        makeExecutable(contents_ / "Linux/Kavio");
    }

    void writeResources() const {
        const std::map<std::string, std::string> greetings = {
            {"en", "Welcome"}, {"de", "Willkommen"}, {"ja", "ようこそ"}};
        for (const auto& [language, greeting] : greetings) {
            write(contents_ / "Resources" / (language + ".lproj") / "Localizable.strings",
                  R"("welcome" = ")" + greeting + "\";\n");
        }
        // Its accents are characters of their own, as an HFS+ volume stores them.
        write(contents_ / "Resources/Names/Gru\u0308\u00dfe & 'more' $HOME.txt",
              "A name with odd characters.\n");
        write(contents_ / "Resources/Empty.txt", "");
    }

    void writeFramework() const {
        const fs::path framework = contents_ / "Frameworks/KavioKit.framework";
        const fs::path version = framework / "Versions/A";
        writeMachO("KavioKit", version / "KavioKit");
        write(version / "Resources/Info.plist",
              propertyList({{"CFBundleExecutable", {"KavioKit"}},
                            {"CFBundleIdentifier", {identifier_ + ".kit"}},
                            {"CFBundleName", {"KavioKit"}},
                            {"CFBundlePackageType", {"FMWK"}},
                            {"CFBundleShortVersionString", {options_.version}},
                            {"CFBundleVersion", {options_.version}}}));
        fs::create_symlink("A", framework / "Versions/Current");
        fs::create_symlink("Versions/Current/KavioKit", framework / "KavioKit");
        fs::create_symlink("Versions/Current/Resources", framework / "Resources");
    }

    void writePayload() const {
        constexpr std::uint64_t filesInFolder = 100;
        const std::uint64_t count = options_.payloadFiles;
        std::seed_seq seed(options_.version.begin(), options_.version.end());
        std::mt19937_64 random(seed);
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t size =
                options_.payloadBytes / count + (i < options_.payloadBytes % count ? 1 : 0);
            write(contents_ / "Resources/Payload" / std::to_string(i / filesInFolder) /
                      (std::to_string(i) + ".bin"),
                  payload(size, random));
        }
    }

    static std::string payload(std::uint64_t size, std::mt19937_64& random) {
        constexpr std::string_view phrase = "the same words again and again ";
        std::string content(size, '\0');
        std::uint64_t filled = 0;
        while (filled < size / 2) {
            const std::uint64_t word = random();
            const std::uint64_t length = std::min<std::uint64_t>(sizeof word, size - filled);
            std::memcpy(&content[filled], &word, length);
            filled += length;
        }
        for (; filled < size; ++filled) {
            content[filled] = phrase[filled % phrase.size()];
        }
        return content;
    }

    // As a fresh tree has them, whatever the mask of the process.
    void setModes() const {
        fs::permissions(bundle_, runnable);
        for (const auto& entry : fs::recursive_directory_iterator(bundle_)) {
            if (!entry.is_symlink()) {
                const bool runs = entry.is_directory() || (entry.status().permissions() &
                                                           fs::perms::owner_exec) == fs::perms::owner_exec;
                fs::permissions(entry, runs ? runnable : plain);
            }
        }
    }

    const SampleApplicationOptions& options_;
    const fs::path contents_;
    const fs::path bundle_;
    const std::string identifier_;
};

void setDate(const fs::path& path) {
    const timespec date{.tv_sec = sampleDate, .tv_nsec = 0};
    const std::array dates = {date, date};
    if (::utimensat(AT_FDCWD, path.c_str(), dates.data(), AT_SYMLINK_NOFOLLOW) != 0) {
        throw std::system_error(errno, std::generic_category(), "a date of the sample cannot be set");
    }
}

} // namespace

std::filesystem::path sampleExecutables() {
    return KAVIO_SAMPLE_EXECUTABLES;
}

std::filesystem::path makeSampleApplication(const SampleApplicationOptions& options,
                                            const std::filesystem::path& directory) {
    fs::path bundle = directory / "Kavio.app";
    Maker(options, bundle).make();
    return bundle;
}

void setSampleDates(const std::filesystem::path& tree) {
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
        setDate(entry.path());
    }
    setDate(tree);
}

} // namespace InstallerCore::Rehearsal
