#include "hosts/linux/diskimage/ImageTable.h"

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

TEST(ImageTableTest, EntitiesComeWithAndWithoutMountPoints) {
    EXPECT_EQ(attachedTable(sampleRecord(), "/Volumes"), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>system-entities</key>
	<array>
		<dict>
			<key>content-hint</key>
			<string>scheme</string>
			<key>dev-entry</key>
			<string>/dev/disk4</string>
			<key>potentially-mountable</key>
			<false/>
			<key>unmapped-content-hint</key>
			<string>other</string>
		</dict>
		<dict>
			<key>content-hint</key>
			<string>Apple_HFS</string>
			<key>dev-entry</key>
			<string>/dev/disk4s1</string>
			<key>mount-point</key>
			<string>/Volumes/A &amp; B</string>
			<key>potentially-mountable</key>
			<true/>
			<key>unmapped-content-hint</key>
			<string>&lt;type&gt;</string>
			<key>volume-kind</key>
			<string>hfs</string>
		</dict>
	</array>
</dict>
</plist>
)");
}

TEST(ImageTableTest, OnlyWhatXmlCanCarryIsPrintable) {
    for (const char* const text : {"", "plain", "tab\tnewline\nreturn\r", "\u00e9\u2028", "&<>"}) {
        EXPECT_TRUE(isPrintable(text)) << text;
    }
    using namespace std::string_view_literals;
    for (const std::string_view text : {"\x01"sv, "a\0b"sv, "\x1b"sv, "\xff"sv, "\xc3"sv}) {
        EXPECT_FALSE(isPrintable(text)) << text;
    }
}

} // namespace

} // namespace InstallerCore
