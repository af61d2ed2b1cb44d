#include "InstallerCore/config/CompareVersion.h"
#include "InstallerCore/config/InstallerError.h"
#include "fuzz/Check.h"

#include <algorithm>
#include <array>
#include <optional>

// The input is up to three versions with "|" between them; a missing one is empty.

namespace InstallerCore::Fuzz {

namespace {

// The components without leading zeros; absent when the text is no version.
using Components = std::optional<std::array<std::string, 3>>;

Components components(std::string_view version) {
    constexpr std::string_view largest = "9223372036854775807";
    std::array<std::string, 3> result;
    const auto texts = pieces(version, '.', result.size());
    if (texts.size() != result.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::string_view text = texts[i];
        if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
            return std::nullopt;
        }
        result[i] = text.substr(std::min(text.find_first_not_of('0'), text.size()));
        if (result[i].size() > largest.size() ||
            (result[i].size() == largest.size() && result[i] > largest)) {
            return std::nullopt;
        }
    }
    return result;
}

// Digits without leading zeros order by length, then as text.
int expectedOrder(const Components& a, const Components& b) {
    for (std::size_t i = 0; i < a->size(); ++i) {
        const auto left = std::pair((*a)[i].size(), (*a)[i]);
        const auto right = std::pair((*b)[i].size(), (*b)[i]);
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    return 0;
}

std::optional<int> order(std::string_view a, std::string_view b) {
    try {
        return compareVersion(a, b);
    } catch (const InstallerError& error) {
        check(error.errorDescription() == "Invalid version", "a version fails with one text");
        return std::nullopt;
    }
}

void checkPair(std::string_view a, std::string_view b) {
    const Components first = components(a);
    const Components second = components(b);
    const auto found = order(a, b);
    check(found.has_value() == (first && second), "exactly the versions are compared");
    if (found) {
        check(*found == expectedOrder(first, second), "versions order by value");
        check(order(b, a) == -*found, "the order is antisymmetric");
    }
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore::Fuzz;
    auto versions = pieces(textOf(data, size), '|', 3);
    versions.resize(3);
    for (const std::string_view a : versions) {
        for (const std::string_view b : versions) {
            checkPair(a, b);
        }
    }
    if (components(versions[0]) && components(versions[1]) && components(versions[2])) {
        std::sort(versions.begin(), versions.end(), [](std::string_view a, std::string_view b) {
            return InstallerCore::compareVersion(a, b) < 0;
        });
        check(InstallerCore::compareVersion(versions[0], versions[2]) <= 0, "the order is transitive");
    }
    return 0;
}
