#include "hosts/linux/diskimage/MountRecord.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

MountRecord sampleRecord() {
    return {.id = "8d0f8a5e-30f5-4b9e-8d0b-3d6a5f1f9d11",
            .firstDisk = 4,
            .diskCount = 1,
            .blockCount = 12,
            .image = {.path = "/a \"b\"\n.dmg",
                      .device = UINT64_MAX,
                      .inode = 2,
                      .size = 3,
                      .modifiedSeconds = -4,
                      .modifiedNanoseconds = 5},
            .entities = {{.device = "/dev/disk4", .contentHint = "scheme", .unmappedContentHint = "other"},
                         {.device = "/dev/disk4s1",
                          .contentHint = "Apple_HFS",
                          .unmappedContentHint = "<type>",
                          .mountable = true,
                          .volume = MountedVolume{.name = "A & B", .kind = "hfs", .inode = 7}}}};
}

TEST(MountRecordTest, ARecordComesBackAsItWas) {
    const MountRecord record = sampleRecord();
    const auto again = parseMountRecord(serialize(record));
    ASSERT_TRUE(again);
    EXPECT_EQ(serialize(*again), serialize(record));
    EXPECT_EQ(again->image, record.image);
    ASSERT_EQ(again->entities.size(), 2U);
    EXPECT_FALSE(again->entities[0].volume);
    EXPECT_EQ(again->entities[1].volume->name, "A & B");
    EXPECT_EQ(again->entities[1].volume->inode, 7U);
}

TEST(MountRecordTest, APartOfARecordIsNone) {
    const std::string text = serialize(sampleRecord());
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_FALSE(parseMountRecord(text.substr(0, size))) << size;
    }
    for (const char* const other : {"{}", "[]", "null", "1", R"({"id": 3})"}) {
        EXPECT_FALSE(parseMountRecord(other)) << other;
    }
}

} // namespace

} // namespace InstallerCore
