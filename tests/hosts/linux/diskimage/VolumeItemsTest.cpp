#include "hosts/linux/diskimage/VolumeItems.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <gmock/gmock.h>

namespace InstallerCore {

namespace {

using namespace std::string_literals;
using Kind = VolumeItem::Kind;

constexpr const char* mismatch = "the listing of the volume does not match the volume";

ListedItem listedFolder(const std::string& path) {
    return {.path = path, .mode = "drwxr-xr-x", .folder = true};
}

ListedItem listedFile(const std::string& path, const std::string& mode = "-rw-r--r--") {
    return {.path = path, .mode = mode};
}

ListedItem listedStream(const std::string& path) {
    return {.path = path, .mode = "", .stream = true};
}

const HfsEntry root{.parent = hfsParentOfRoot, .number = hfsRootFolder, .name = "Vol", .folder = true};

HfsEntry file(const std::string& name, std::uint32_t parent = hfsRootFolder, std::uint32_t fileLink = 0) {
    return {.parent = parent, .number = 100, .name = name, .fileLink = fileLink};
}

HfsEntry folder(const std::string& name, std::uint32_t number, std::uint32_t parent = hfsRootFolder) {
    return {.parent = parent, .number = number, .name = name, .folder = true};
}

template <typename Call>
std::string errorOf(Call call) {
    try {
        static_cast<void>(call());
        return "none";
    } catch (const DiskImageError& error) {
        return error.what();
    }
}

std::string hfsError(const std::vector<ListedItem>& listed, const std::vector<HfsEntry>& catalog) {
    return errorOf([&] { return hfsContent({.volumeNames = {}, .items = listed}, catalog); });
}

TEST(VolumeItemsTest, NamesComeFromTheCatalog) {
    const VolumeContent content = hfsContent({.volumeNames = {},
                                              .items = {listedFolder("Vol"), listedFile("Vol/a_b"),
                                                        listedFolder("Vol/x_y"), listedFile("Vol/x_y/_")}},
                                             {root, file("a:b"), folder("x\ny", 20), file("_", 20)});
    EXPECT_EQ(content.name, "Vol");
    ASSERT_EQ(content.items.size(), 4U);
    EXPECT_EQ(content.items[0].path, "");
    EXPECT_EQ(content.items[1].path, "a:b");
    EXPECT_EQ(content.items[2].path, "x\ny");
    EXPECT_EQ(content.items[3].path, "x\ny/_");
}

TEST(VolumeItemsTest, AFolderMayBeNamedBehindWhatIsInIt) {
    const VolumeContent content = hfsContent({.volumeNames = {},
                                              .items = {listedFolder("Vol"), listedFile("Vol/b/a/f"),
                                                        listedFolder("Vol/b/a"), listedFolder("Vol/b")}},
                                             {root, file("f", 20), folder("a", 20, 30), folder("b", 30)});
    EXPECT_EQ(content.items[1].path, "b/a/f");
}

TEST(VolumeItemsTest, AListingThatDoesNotMatchTheCatalogIsRefused) {
    const ListedItem top = listedFolder("Vol");
    EXPECT_EQ(hfsError({top}, {}), mismatch);
    EXPECT_EQ(hfsError({top}, {folder("Vol", 5, hfsParentOfRoot)}), mismatch);
    EXPECT_EQ(hfsError({}, {root}), mismatch);
    EXPECT_EQ(hfsError({top}, {root, file("a")}), mismatch);
    EXPECT_EQ(hfsError({top, listedFile("Vol/a")}, {root}), mismatch);
    EXPECT_EQ(hfsError({top, listedFile("Vol/a")}, {root, file("b")}), mismatch);
    EXPECT_EQ(hfsError({top, listedFile("Vol/a")}, {root, folder("a", 20)}), mismatch);
    EXPECT_EQ(hfsError({top, listedStream("Vol/a:x")}, {root}), mismatch);
    EXPECT_EQ(hfsError({top, listedFolder("Vol/a"), listedFolder("Vol/a")},
                       {root, folder("a", 20), folder("a", 20)}),
              mismatch);
}

TEST(VolumeItemsTest, FoldersThatLeadNowhereAreRefused) {
    const std::string lost = "the volume holds an entry that is in no folder, or too deep in folders";
    const ListedItem top = listedFolder("Vol");
    EXPECT_EQ(hfsError({top, listedFile("Vol/a")}, {root, file("a", 77)}), lost);
    EXPECT_EQ(hfsError({top, listedFolder("Vol/a"), listedFolder("Vol/b")},
                       {root, folder("a", 20, 30), folder("b", 30, 20)}),
              lost);
    EXPECT_EQ(hfsError({top, listedFolder("Vol/a")}, {root, folder("a", 20, 20)}), lost);
}

TEST(VolumeItemsTest, HardLinksLeadToTheSharedFile) {
    const std::string hidden = "\0\0\0\0HFS+ Private Data"s;
    const VolumeContent content = hfsContent(
        {.volumeNames = {},
         .items = {listedFolder("Vol"), listedFile("Vol/a"), listedFolder("Vol/[HFS+ Private Data]"),
                   listedFile("Vol/[HFS+ Private Data]/iNode21"),
                   listedFile("Vol/[HFS+ Private Data]/temp21")}},
        {root, file("a", hfsRootFolder, 21), folder(hidden, 20), file("iNode21", 20), file("temp21", 20)});
    EXPECT_EQ(content.items[1].kind, Kind::hardLink);
    EXPECT_EQ(content.items[1].shared, 21U);
    EXPECT_EQ(content.items[2].kind, Kind::hidden);
    EXPECT_EQ(content.items[3].kind, Kind::file);
    EXPECT_EQ(content.items[3].shared, 21U);
    EXPECT_EQ(content.items[4].kind, Kind::hidden) << "an open file that was deleted";
}

TEST(VolumeItemsTest, AHardLinkToAFolderIsRefused) {
    HfsEntry link = file("a");
    link.folderLink = true;
    EXPECT_EQ(hfsError({listedFolder("Vol"), listedFile("Vol/a")}, {root, link}),
              "the volume holds a hard link to a folder");
}

TEST(VolumeItemsTest, OnlyTheTopOfTheVolumeHidesNames) {
    for (const std::string name : {".fseventsd", ".Trashes", ".HFS+ Private Directory Data\r", ".journal"}) {
        const VolumeContent content = hfsContent(
            {.volumeNames = {},
             .items = {listedFolder("Vol"), listedFolder("Vol/" + name), listedFile("Vol/" + name + "/a"),
                       listedFolder("Vol/x"), listedFolder("Vol/x/" + name)}},
            {root, folder(name, 20), file("a", 20), folder("x", 30), folder(name, 40, 30)});
        EXPECT_EQ(content.items[1].kind, Kind::hidden) << name;
        EXPECT_EQ(content.items[2].kind, Kind::hidden) << name;
        EXPECT_EQ(content.items[4].kind, Kind::folder) << name;
    }
}

TEST(VolumeItemsTest, ModesLoseTheirPrivileges) {
    const std::pair<const char*, unsigned> modes[] = {{"-rwsr-xr-x", 0755},
                                                      {"-rwSr--r--", 0644},
                                                      {"-rwxr-sr-x", 0755},
                                                      {"-rwxrwxrwt", 0777},
                                                      {"-rwxrwxrwT", 0776},
                                                      {"----------", 0},
                                                      {"", 0644}};
    for (const auto& [text, mode] : modes) {
        const auto contents = apfsContents({.volumeNames = {"V"}, .items = {listedFile("a", text)}});
        EXPECT_EQ(contents.at(0).items.at(0).mode, mode) << text;
    }
}

TEST(VolumeItemsTest, KindsComeFromTheMode) {
    const std::pair<const char*, Kind> kinds[] = {
        {"-rw-r--r--", Kind::file},    {"lrwxr-xr-x", Kind::link},
        {"prw-r--r--", Kind::special}, {"crw-r--r--", Kind::special},
        {"brw-r--r--", Kind::special}, {"srw-r--r--", Kind::special},
        {"wrw-r--r--", Kind::special}, {"", Kind::file}};
    for (const auto& [text, kind] : kinds) {
        const auto contents = apfsContents({.volumeNames = {"V"}, .items = {listedFile("a", text)}});
        EXPECT_EQ(contents.at(0).items.at(0).kind, kind) << text;
    }
}

TEST(VolumeItemsTest, AttributesFindTheirOwnerAndStayInTheUsersNamespace) {
    const auto contents =
        apfsContents({.volumeNames = {"V"},
                      .items = {listedStream("a:b:rsrc"), listedFile("a:b"), listedFile("c"),
                                listedStream("c:x"), listedStream("c:user.y"),
                                listedStream("c:security.capability"), listedStream("c:trusted.z")}});
    const auto& items = contents.at(0).items;
    EXPECT_EQ(items[0].kind, Kind::attribute);
    EXPECT_EQ(items[0].owner, 1U);
    EXPECT_EQ(items[0].attribute, "user.com.apple.ResourceFork");
    EXPECT_EQ(items[3].owner, 2U);
    EXPECT_EQ(items[3].attribute, "user.x");
    EXPECT_EQ(items[4].attribute, "user.y");
    EXPECT_EQ(items[5].attribute, "user.security.capability");
    EXPECT_EQ(items[6].attribute, "user.trusted.z");
}

TEST(VolumeItemsTest, AnAttributeThatCouldBelongToTwoIsRefused) {
    const auto error = [](const std::vector<ListedItem>& items) {
        return errorOf([&] { return apfsContents({.volumeNames = {"V"}, .items = items}); });
    };
    const std::string unclear = "it is not clear which entry an extended attribute belongs to";
    EXPECT_EQ(error({listedFile("a"), listedFile("a:b"), listedStream("a:b:c")}), unclear);
    EXPECT_EQ(error({listedFile("a"), listedFile("a"), listedStream("a:c")}), unclear);
}

TEST(VolumeItemsTest, EachVolumeOfAContainerHasItsOwnFolder) {
    const auto contents =
        apfsContents({.volumeNames = {"A", "B"},
                      .items = {listedFolder("A"), listedFile("A/x"), listedFolder("B"),
                                listedFile("B/.Trashes"), listedFile("B/y"), listedStream("B/y:z")}});
    ASSERT_EQ(contents.size(), 2U);
    const auto kinds = [](const VolumeContent& content) {
        std::vector<Kind> result;
        for (const VolumeItem& item : content.items) {
            result.push_back(item.kind);
        }
        return result;
    };
    EXPECT_EQ(kinds(contents[0]), (std::vector{Kind::folder, Kind::file, Kind::hidden, Kind::hidden,
                                               Kind::hidden, Kind::hidden}));
    EXPECT_EQ(kinds(contents[1]), (std::vector{Kind::hidden, Kind::hidden, Kind::folder, Kind::hidden,
                                               Kind::file, Kind::attribute}));
    EXPECT_EQ(contents[0].items[1].path, "x");
    EXPECT_EQ(contents[1].items[2].path, "");
    EXPECT_EQ(contents[1].items[4].path, "y");
}

} // namespace

} // namespace InstallerCore
