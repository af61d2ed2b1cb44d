#include "InstallerCore/download/HashFile.h"

#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <sys/stat.h>

#include <filesystem>

namespace InstallerCore {

namespace {

using Testing::expectPlatformError;
using Testing::writeFile;

constexpr const char* emptyDigest = "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                                    "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e";

class HashFileTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string hash(const std::filesystem::path& file) const {
        return hashFile(file, test_.platform);
    }

    Testing::TestPlatform test_;
    std::filesystem::path file_ = test_.home / "image.dmg";
};

TEST_F(HashFileTest, EmptyFileHasTheDigestOfNoData) {
    writeFile(file_, "");
    EXPECT_EQ(hash(file_), emptyDigest);
}

TEST_F(HashFileTest, KnownContentHasItsKnownDigest) {
    writeFile(file_, "abc");
    EXPECT_EQ(hash(file_), "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                           "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

TEST_F(HashFileTest, PiecesJoinAcrossTheirBoundary) {
    // One million "a", a published test vector, does not fill one piece; three million cross it twice.
    writeFile(file_, std::string(1'000'000, 'a'));
    EXPECT_EQ(hash(file_), "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
                           "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b");
    const std::string content(3'000'000, 'a');
    writeFile(file_, content);
    const auto digest = test_.digests.sha512();
    digest->update(asBytes(content));
    EXPECT_EQ(hash(file_), hexadecimal(digest->finish()));
}

TEST_F(HashFileTest, LinkIsFollowed) {
    writeFile(test_.home / "target", "");
    std::filesystem::create_symlink("target", file_);
    EXPECT_EQ(hash(file_), emptyDigest);
}

TEST_F(HashFileTest, MissingFileIsAnError) {
    expectPlatformError(FileErrorCode::readNoSuchFile, [&] { return hash(file_); });
}

TEST_F(HashFileTest, NothingButARegularFileIsOpened) {
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    expectPlatformError(FileErrorCode::notRegularFile, [&] { return hash(file_); });
    expectPlatformError(FileErrorCode::notRegularFile, [&] { return hash(test_.home.path()); });
    expectPlatformError(FileErrorCode::notRegularFile, [&] { return hash("/dev/zero"); });
}

TEST_F(HashFileTest, ReadErrorIsPassedThrough) {
    writeFile(file_, "abc");
    test_.files.failAt("FileHandle.read", 1, FileErrorCode::readUnknown);
    expectPlatformError(FileErrorCode::readUnknown, [&] { return hash(file_); });
}

} // namespace

} // namespace InstallerCore
