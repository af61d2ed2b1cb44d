#include "hosts/linux/diskimage/HfsCatalog.h"

#include "hosts/linux/diskimage/DiskImageError.h"
#include "hosts/posix/Descriptor.h"
#include "rehearsal/HfsVolume.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gmock/gmock.h>

namespace InstallerCore {

namespace {

using namespace Testing;
namespace fs = std::filesystem;

class HfsCatalogTest : public ::testing::Test {
protected:
    HfsCatalogTest() {
        fs::create_directories(directory_ / "content/folder");
        writeFile(directory_ / "content/folder/a:b", "x");
        writeFile(directory_ / "content/e\u0301", "x");
        Rehearsal::makeHfsVolume(directory_ / "content", "Volume", directory_ / "volume");
        volume_ = readFile(directory_ / "volume");
    }

    [[nodiscard]] std::vector<HfsEntry> read(const std::string& volume) const {
        writeFile(directory_ / "spoilt", volume);
        const Descriptor file(::open((directory_ / "spoilt").c_str(), O_RDONLY | O_CLOEXEC));
        return readHfsCatalog(file.get());
    }

    [[nodiscard]] std::string errorOf(const std::string& volume) const {
        try {
            static_cast<void>(read(volume));
            return "none";
        } catch (const DiskImageError& error) {
            return error.what();
        }
    }

    // Where the catalog lies, from its first extent.
    [[nodiscard]] std::size_t catalog() const { return number(1024 + 40) * number(1024 + 272 + 16); }

    [[nodiscard]] std::uint32_t number(std::size_t offset) const {
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < 4; ++index) {
            value = value << 8U | static_cast<unsigned char>(volume_.at(offset + index));
        }
        return value;
    }

    TemporaryDirectory directory_;
    std::string volume_;
};

TEST_F(HfsCatalogTest, EntriesHaveTheirNamesAsPosixHasThem) {
    const std::vector<HfsEntry> entries = read(volume_);
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].name, "Volume");
    EXPECT_EQ(entries[0].parent, hfsParentOfRoot);
    EXPECT_EQ(entries[0].number, hfsRootFolder);
    EXPECT_TRUE(entries[0].folder);
    EXPECT_EQ(entries[1].name, "e\u0301");
    EXPECT_FALSE(entries[1].folder);
    EXPECT_EQ(entries[2].name, "folder");
    EXPECT_EQ(entries[3].name, "a:b");
    EXPECT_EQ(entries[3].parent, entries[2].number);
}

TEST_F(HfsCatalogTest, DamagedHeadersAreRefused) {
    struct Field {
        std::size_t offset;
        std::string value;
    };

    const Field fields[] = {
        {1024 + 40, std::string(4, '\0')}, // size of a block
        {1024 + 40, "\x01\x02\x03\x04"},
        {1024 + 272 + 16, std::string(8, '\0')}, // the first extent
        {1024 + 272 + 16, std::string(4, '\xff')},
        {catalog() + 32, std::string(2, '\0')}, // size of a node
        {catalog() + 32, "\x12\x34"},
        {catalog() + 24, std::string(4, '\xff')}, // first leaf
        {catalog() + 36, std::string(4, '\0')},   // number of nodes
    };
    for (const auto& [offset, value] : fields) {
        std::string spoilt = volume_;
        spoilt.replace(offset, value.size(), value);
        EXPECT_NE(errorOf(spoilt), "none") << offset;
    }
}

TEST_F(HfsCatalogTest, ACircleOfLeavesEnds) {
    std::string spoilt = volume_;
    const std::size_t nodeSize = number(catalog() + 32) >> 16U;
    const std::string leaf = volume_.substr(catalog() + 24, 4);
    spoilt.replace(catalog() + number(catalog() + 24) * nodeSize, 4, leaf); // its next one is itself
    EXPECT_EQ(errorOf(spoilt), "the catalog of the volume is damaged");
}

TEST_F(HfsCatalogTest, NoSpoiltByteDoesHarm) {
    const std::size_t nodeSize = number(catalog() + 32) >> 16U;
    const std::size_t leaf = catalog() + number(catalog() + 24) * nodeSize;
    int refused = 0;
    for (std::size_t offset = 0; offset < nodeSize; offset += 11) {
        for (const char value : {'\0', '\xff', '\x7f'}) {
            std::string spoilt = volume_;
            spoilt[leaf + offset] = value;
            refused += errorOf(spoilt) == "none" ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 5);
    for (std::size_t size = 0; size < volume_.size(); size += volume_.size() / 50) {
        static_cast<void>(errorOf(volume_.substr(0, size)));
    }
}

} // namespace

} // namespace InstallerCore
