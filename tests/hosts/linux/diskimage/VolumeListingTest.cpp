#include "hosts/linux/diskimage/VolumeListing.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

constexpr const char* head = "7-Zip\n\n--\nPath = /x\nType = HFS\n\n----------\n";

std::string errorOf(const std::string& listing) {
    try {
        static_cast<void>(parseVolumeListing(listing));
        return "none";
    } catch (const DiskImageError& error) {
        return error.what();
    }
}

TEST(VolumeListingTest, ItemsComeInOrderWithWhatIsKnownOfThem) {
    const VolumeListing listing = parseVolumeListing(std::string(head) + R"(Path = Vol
Folder = +
Size = 
Mode = drwxr-xr-x
Alternate Stream = -

Path = Vol/a = b
Folder = -
Size = 9000000000
Modified = 2021-11-25 20:20:22.839125820
Mode = -rw-r--r--
Alternate Stream = -

Path = Vol/a = b:rsrc
Folder = -
Size = 17
Modified = 2001-09-09 01:46:40
Mode =
Alternate Stream = +


Warnings: 2
)");
    ASSERT_EQ(listing.items.size(), 3U);
    EXPECT_TRUE(listing.volumeNames.empty());
    EXPECT_TRUE(listing.items[0].folder);
    EXPECT_EQ(listing.items[0].size, 0);
    EXPECT_EQ(listing.items[0].modified.tv_sec, 0);
    EXPECT_EQ(listing.items[1].path, "Vol/a = b");
    EXPECT_EQ(listing.items[1].mode, "-rw-r--r--");
    EXPECT_EQ(listing.items[1].size, 9'000'000'000);
    EXPECT_EQ(listing.items[1].modified.tv_sec, 1'637'871'622);
    EXPECT_EQ(listing.items[1].modified.tv_nsec, 839'125'820);
    EXPECT_FALSE(listing.items[1].folder || listing.items[1].stream);
    EXPECT_TRUE(listing.items[2].stream);
    EXPECT_EQ(listing.items[2].mode, "");
    EXPECT_EQ(listing.items[2].modified.tv_sec, 1'000'000'000);
}

TEST(VolumeListingTest, TheHeaderNamesTheVolumes) {
    const VolumeListing listing = parseVolumeListing(
        "--\nType = APFS\nvolume_name: First one\nfs_index: 1\nvolume_name: \n\n----------\n");
    EXPECT_EQ(listing.volumeNames, (std::vector<std::string>{"First one", ""}));
    EXPECT_TRUE(listing.items.empty());
}

TEST(VolumeListingTest, AnEmptyListingHasNothing) {
    EXPECT_TRUE(parseVolumeListing("").items.empty());
    EXPECT_TRUE(parseVolumeListing("Path = a\nSize = 1\n").items.empty()) << "still the header";
}

TEST(VolumeListingTest, WhatDoesNotLookLikeOneIsRefused) {
    for (const char* const items :
         {"Size = 1\n", "Path = a\nSize = x\n", "Path = a\nSize = -1\n",
          "Path = a\nSize = 99999999999999999999\n", "Path = a\nSize = 1x\n", "Path = a\nModified = today\n",
          "Path = a\nModified = 2021-11-25 20:2x:22\n",
          "Path = a\nModified = 2021-11-25 20:20:22.0123456789\n"}) {
        EXPECT_EQ(errorOf(std::string(head) + items), "the listing of the volume cannot be read") << items;
    }
}

TEST(VolumeListingTest, TooManyEntriesAreRefused) {
    std::string listing = head;
    for (std::size_t index = 0; index < mostVolumeItems; ++index) {
        listing += "Path = a\n\n";
    }
    EXPECT_EQ(errorOf(listing), "none");
    EXPECT_EQ(errorOf(listing + "Path = a\n"), "the volume has too many entries");
}

} // namespace

} // namespace InstallerCore
