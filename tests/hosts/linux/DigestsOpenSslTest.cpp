#include "hosts/linux/DigestsOpenSsl.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace InstallerCore {

namespace {

std::string digestOf(const std::string& text) {
    const auto digest = DigestsOpenSsl().sha512();
    digest->update(asBytes(text));
    return hexadecimal(digest->finish());
}

TEST(DigestsOpenSslTest, Sha512HasTheStandardsValues) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
             "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"},
        {"abc", "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
         "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
         "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
        {std::string(1'000'000, 'a'), "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
                                      "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
    };
    for (const auto& [text, digest] : cases) {
        EXPECT_EQ(digestOf(text), digest) << text.size();
    }
}

TEST(DigestsOpenSslTest, WithoutAnyBytesItIsTheOneOfNoData) {
    EXPECT_EQ(hexadecimal(DigestsOpenSsl().sha512()->finish()), digestOf(""));
}

TEST(DigestsOpenSslTest, PiecesMakeNoDifference) {
    const std::string text(1000, 'x');
    for (const std::size_t size : {1U, 127U, 128U, 129U, 999U}) {
        const auto digest = DigestsOpenSsl().sha512();
        for (std::size_t begin = 0; begin < text.size(); begin += size) {
            digest->update(asBytes(std::string_view(text).substr(begin, size)));
            digest->update({});
        }
        EXPECT_EQ(hexadecimal(digest->finish()), digestOf(text)) << size;
    }
}

TEST(DigestsOpenSslTest, ComputationsDoNotMeet) {
    const DigestsOpenSsl digests;
    const auto one = digests.sha512();
    const auto other = digests.sha512();
    one->update(asBytes("a"));
    other->update(asBytes("x"));
    one->update(asBytes("bc"));
    EXPECT_EQ(hexadecimal(one->finish()), digestOf("abc"));
    EXPECT_EQ(hexadecimal(other->finish()), digestOf("x"));
}

} // namespace

} // namespace InstallerCore
