#include "tests/integration/signatures/ByteDamages.h"

#include "tests/support/TemporaryDirectory.h"

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t bitsInByte = 8;

// Of a tag in ASN.1: whether the value consists of others.
constexpr std::byte formBit{0x20};

std::byte bit(std::size_t number) {
    return std::byte{1} << static_cast<unsigned>(number);
}

void flipRegion(DamageCampaign& campaign, const std::string& file, const CodeRegion& region, bool everyBit) {
    const auto flip = [&](std::size_t offset, std::byte mask) {
        campaign.flip(bitDamage(region, file, mask), offset, mask);
    };
    const auto flipOne = [&](std::size_t offset) { flip(offset, bit(campaign.random(bitsInByte))); };
    if (!region.dense) {
        flipOne(region.begin);
        flipOne(region.begin + campaign.random(region.end - region.begin));
        flipOne(region.end - 1);
        return;
    }
    for (std::size_t offset = region.begin; offset < region.end; ++offset) {
        if (everyBit) {
            for (std::size_t number = 0; number < bitsInByte; ++number) {
                flip(offset, bit(number));
            }
        } else {
            flipOne(offset);
        }
    }
}

} // namespace

Damage bitDamage(const CodeRegion& region, const std::string& file, std::byte mask) {
    const bool isForm = region.part.ends_with(": tag") && mask == formBit;
    const std::string kind = isForm ? "the bit for constructed values flipped in " : "a bit flipped in ";
    return {.kind = kind + region.kind, .part = region.part, .file = file};
}

void flipBytes(DamageCampaign& campaign, const std::string& executable, bool everyBit) {
    const std::string content = readFile(campaign.subject().path / executable);
    for (const CodeRegion& region : regionsOf(asBytes(content))) {
        flipRegion(campaign, executable, region, everyBit);
    }
    campaign.expectSound();
}

} // namespace InstallerCore::Testing
