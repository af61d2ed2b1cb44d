#include "tests/integration/signatures/AttributeDamages.h"

#include "tests/integration/signatures/ByteDamages.h"

#include <sys/xattr.h>

#include <array>
#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

constexpr std::array<const char*, 3> names = {"user.com.apple.cs.CodeDirectory",
                                              "user.com.apple.cs.CodeRequirements",
                                              "user.com.apple.cs.CodeSignature"};

std::string attribute(const std::filesystem::path& file, const char* name) {
    std::string value(65536, '\0'); // what the system allows for one
    const ssize_t size = ::getxattr(file.c_str(), name, value.data(), value.size());
    if (size < 0) {
        throw std::runtime_error(std::string("there is no attribute ") + name);
    }
    value.resize(static_cast<std::size_t>(size));
    return value;
}

void setAttribute(const std::filesystem::path& file, const char* name, const std::string& value) {
    if (::setxattr(file.c_str(), name, value.data(), value.size(), 0) != 0) {
        throw std::runtime_error(std::string("an attribute cannot be set: ") + name);
    }
}

void replace(DamageCampaign& campaign, const Damage& damage, const char* name, const std::string& value) {
    const std::filesystem::path file = campaign.subject().path / damage.file;
    const std::string own = attribute(file, name);
    campaign.attempt(
        damage, [&] { setAttribute(file, name, value); }, [&] { setAttribute(file, name, own); });
}

// The CMS message is told apart.
std::vector<CodeRegion> regionsOfAttribute(const std::string& name, const std::string& value) {
    constexpr std::size_t blobHeader = 8;
    if (!name.ends_with("CodeSignature")) {
        return {{.kind = "an attribute", .part = name, .begin = 0, .end = value.size(), .dense = true}};
    }
    std::vector<CodeRegion> regions = {
        {.kind = "an attribute", .part = name, .begin = 0, .end = blobHeader, .dense = true}};
    addMessageRegions(regions, asBytes(value).subspan(blobHeader), blobHeader);
    return regions;
}

} // namespace

bool keepsAttributes(const std::filesystem::path& file, std::size_t size) {
    constexpr const char* name = "user.kavio.probe";
    const std::string value(size, 'x');
    return ::setxattr(file.c_str(), name, value.data(), value.size(), 0) == 0 &&
           ::removexattr(file.c_str(), name) == 0;
}

void damageAttributes(DamageCampaign& campaign, const std::string& script) {
    constexpr std::size_t bits = 8;
    const std::filesystem::path file = campaign.subject().path / script;
    for (const char* const name : names) {
        const std::string own = attribute(file, name);
        campaign.attempt(
            {.kind = "an attribute removed", .part = name, .file = script},
            [&] { ::removexattr(file.c_str(), name); }, [&] { setAttribute(file, name, own); });
        replace(campaign, {.kind = "an attribute emptied", .part = name, .file = script}, name, "");
        for (const char* const other : names) {
            if (other != name) {
                replace(campaign, {.kind = "an attribute replaced by another", .part = name, .file = script},
                        name, attribute(file, other));
            }
        }
        for (const CodeRegion& region : regionsOfAttribute(name, own)) {
            for (std::size_t i = region.begin; i < region.end; ++i) {
                const auto mask = std::byte{1} << static_cast<unsigned>(campaign.random(bits));
                std::string flipped = own;
                flipped[i] = static_cast<char>(flipped[i] ^ std::to_integer<char>(mask));
                replace(campaign, bitDamage(region, script, mask), name, flipped);
            }
        }
    }
    campaign.expectSound();
}

} // namespace InstallerCore::Testing
