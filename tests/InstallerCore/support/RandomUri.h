#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace InstallerCore::Testing {

// Texts on both sides of the URI grammar: derived from it, derived and then damaged, or noise. The same seed
// gives the same texts on every machine.
class RandomUri {
public:
    explicit RandomUri(std::uint64_t seed) : random_(seed) {}

    [[nodiscard]] std::string next();

private:
    [[nodiscard]] std::size_t below(std::size_t limit);
    [[nodiscard]] bool chance(unsigned percent);
    [[nodiscard]] char any(std::string_view alphabet);
    [[nodiscard]] std::string some(std::string_view alphabet, std::size_t most);
    [[nodiscard]] std::string encoded(std::string_view alphabet, std::size_t most);

    [[nodiscard]] std::string reference();
    [[nodiscard]] std::string scheme();
    [[nodiscard]] std::string authority();
    [[nodiscard]] std::string host();
    [[nodiscard]] std::string ipv4Address();
    [[nodiscard]] std::string ipv6Address();
    [[nodiscard]] std::string ipvFuture();
    [[nodiscard]] std::string path();

    [[nodiscard]] std::string damaged(std::string text);
    [[nodiscard]] std::string noise();

    std::mt19937_64 random_;
};

} // namespace InstallerCore::Testing
