#include "hosts/linux/codesign/HashType.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace InstallerCore {

namespace {

using CodeSign::HashType;

struct Known {
    HashType type;
    std::uint8_t number;
    const char* name;
    std::size_t size;
    const char* ofAbc; // FIPS 180-4's example
};

const std::array<Known, 4> kinds{{
    {HashType::sha1, 1, "SHA-1", 20, "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {HashType::sha256, 2, "SHA-256", 32, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {HashType::sha256Truncated, 3, "truncated SHA-256", 20,
     "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {HashType::sha384, 4, "SHA-384", 48,
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
}};

TEST(HashTypeTest, IsKnownByItsNumber) {
    for (const Known& kind : kinds) {
        EXPECT_EQ(CodeSign::hashType(kind.number), kind.type);
        EXPECT_STREQ(CodeSign::name(kind.type), kind.name);
        EXPECT_EQ(CodeSign::hashSize(kind.type), kind.size);
    }
    for (const std::uint8_t number : std::to_array<std::uint8_t>({0, 5, 255})) {
        EXPECT_EQ(CodeSign::hashType(number), std::nullopt);
    }
}

TEST(HashTypeTest, GivesTheStoredAndTheFullHash) {
    for (const Known& kind : kinds) {
        EXPECT_EQ(hexadecimal(CodeSign::fullHash(kind.type, asBytes("abc"))), kind.ofAbc);
        EXPECT_EQ(hexadecimal(CodeSign::hash(kind.type, asBytes("abc"))),
                  std::string(kind.ofAbc).substr(0, 2 * kind.size));
    }
    EXPECT_EQ(hexadecimal(CodeSign::hash(HashType::sha1, {})), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(HashTypeTest, HashesOnManyThreadsFromTheFirstUse) {
    std::array<Bytes, 8> results;
    std::vector<std::jthread> threads;
    for (Bytes& result : results) {
        threads.emplace_back([&result] { result = CodeSign::hash(HashType::sha256, asBytes("abc")); });
    }
    threads.clear();
    for (const Bytes& result : results) {
        EXPECT_EQ(hexadecimal(result), kinds[1].ofAbc);
    }
}

} // namespace

} // namespace InstallerCore
