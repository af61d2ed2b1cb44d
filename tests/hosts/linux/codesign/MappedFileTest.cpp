#include "hosts/linux/codesign/MappedFile.h"

#include "tests/hosts/linux/codesign/RefusalOf.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Trap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace InstallerCore::CodeSign {

namespace {

using Testing::refusalOf;
using Testing::TrapKind;
using Testing::writeFile;

constexpr const char* changed = "changed while it was read";
constexpr const char* noFile = "is no regular file";
constexpr std::size_t mappedSize = MappedFile::largestCopy + 1;

class MappedFileTest : public testing::Test {
protected:
    // With a time of long ago, so that any change alters it.
    void write(const std::string& name, std::string_view content) {
        writeFile(path(name), content);
        std::filesystem::last_write_time(path(name), std::filesystem::file_time_type{});
    }

    [[nodiscard]] std::shared_ptr<const MappedFile> open(const std::string& name) const {
        return MappedFile::open(folder.get(), name);
    }

    [[nodiscard]] std::string refusal(const std::string& name) const {
        return refusalOf([&] { return open(name); });
    }

    [[nodiscard]] std::filesystem::path path(const std::string& name) const { return directory / name; }

    Testing::TemporaryDirectory directory;
    Descriptor folder{::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

std::string changeOf(const MappedFile& file) {
    return refusalOf([&file] {
        file.demandUnchanged();
        return 0;
    });
}

bool isZero(ByteView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::byte byte) { return byte == std::byte{0}; });
}

TEST_F(MappedFileTest, hasTheBytesOfTheFile) {
    write("file", "content");
    const auto file = open("file");
    EXPECT_EQ(asText(file->bytes()), "content");
    EXPECT_EQ(changeOf(*file), "");
}

TEST_F(MappedFileTest, mayBeEmpty) {
    write("file", "");
    const auto file = open("file");
    EXPECT_TRUE(file->bytes().empty());
    EXPECT_EQ(changeOf(*file), "");
    write("file", "a");
    EXPECT_EQ(changeOf(*file), changed);
}

TEST_F(MappedFileTest, whatIsNoRegularFileIsNotOpened) {
    for (const TrapKind kind : Testing::allTraps) {
        const Testing::Trap trap(path(nameOf(kind)), kind);
        EXPECT_EQ(refusal(nameOf(kind)), noFile) << nameOf(kind);
        trap.expectUntouched();
    }
    const Descriptor devices(::open("/dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ(refusalOf([&] { return MappedFile::open(devices.get(), "null"); }), noFile);
}

TEST_F(MappedFileTest, aFifoWithoutAWriterDoesNotBlock) {
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(refusal("fifo"), noFile);
}

TEST_F(MappedFileTest, whatIsMissingOrForbiddenCannotBeRead) {
    EXPECT_EQ(refusal("missing"), "cannot be read");
    EXPECT_EQ(refusal(std::string(300, 'a')), "cannot be read");
    write("secret", "content");
    std::filesystem::permissions(path("secret"), std::filesystem::perms::none);
    std::filesystem::permissions(directory.path(), std::filesystem::perms{0755});
    Testing::runInChild([this] {
        Testing::dropPrivileges();
        EXPECT_EQ(refusal("secret"), "cannot be read");
    });
}

TEST_F(MappedFileTest, anyWriteSinceItWasOpenedIsSeen) {
    write("file", "content");
    const auto file = open("file");
    std::filesystem::resize_file(path("file"), 7); // to what it was
    EXPECT_EQ(changeOf(*file), changed);
    write("longer", "content");
    const auto longer = open("longer");
    std::filesystem::resize_file(path("longer"), 8);
    EXPECT_EQ(changeOf(*longer), changed);
}

TEST_F(MappedFileTest, aTimeThatIsSetBackIsSeen) {
    write("file", "content");
    std::filesystem::permissions(path("file"), std::filesystem::perms{0600});
    const auto file = open("file");
    struct stat before{};
    struct stat after{};
    ASSERT_EQ(::stat(path("file").c_str(), &before), 0);
    do { // the clock of the file system moves in steps
        write("file", "CONTENT");
        ASSERT_EQ(::stat(path("file").c_str(), &after), 0);
    } while (after.st_ctim.tv_sec == before.st_ctim.tv_sec &&
             after.st_ctim.tv_nsec == before.st_ctim.tv_nsec);
    ASSERT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(changeOf(*file), changed);
}

TEST_F(MappedFileTest, anotherFileInItsPlaceIsNotIt) {
    write("file", "content");
    const auto file = open("file");
    write("other", "another");
    std::filesystem::rename(path("other"), path("file"));
    EXPECT_EQ(asText(file->bytes()), "content");
}

TEST_F(MappedFileTest, whatIsCutOffReadsAsZerosAndIsTold) {
    write("file", std::string(3 * 65536, 'a'));
    const auto file = open("file");
    std::filesystem::resize_file(path("file"), 65536);
    EXPECT_EQ(file->bytes()[0], std::byte{'a'});
    EXPECT_TRUE(isZero(file->bytes().subspan(65536)));
    EXPECT_EQ(changeOf(*file), changed);
}

TEST_F(MappedFileTest, aSmallFileStaysAsItWasReadAndItsChangeIsTold) {
    const std::string content(MappedFile::largestCopy, 'a');
    write("file", content);
    const auto file = open("file");
    std::filesystem::resize_file(path("file"), 0);
    EXPECT_EQ(asText(file->bytes()), content);
    EXPECT_EQ(changeOf(*file), changed);
}

TEST_F(MappedFileTest, filesOfEverySizeAreReadWhole) {
    for (const std::size_t size : {std::size_t{1}, MappedFile::largestCopy, mappedSize}) {
        std::string content(size, 'a');
        content.back() = 'z';
        write("file", content);
        const auto file = open("file");
        EXPECT_EQ(asText(file->bytes()), content) << size;
        EXPECT_EQ(changeOf(*file), "") << size;
    }
}

TEST_F(MappedFileTest, onlyTheFileThatWasCutIsTold) {
    write("file", std::string(mappedSize, 'a'));
    write("other", std::string(mappedSize, 'b'));
    const auto file = open("file");
    const auto other = open("other");
    std::filesystem::resize_file(path("file"), 0);
    EXPECT_TRUE(isZero(file->bytes()));
    EXPECT_EQ(other->bytes()[mappedSize - 1], std::byte{'b'});
    EXPECT_EQ(changeOf(*file), changed);
    EXPECT_EQ(changeOf(*other), "");
}

// Each place is used again, and must not remember.
TEST_F(MappedFileTest, aFileDoesNotBearTheFaultsOfTheOneBefore) {
    for (int round = 0; round < 3; ++round) {
        write("file", std::string(mappedSize, 'a'));
        const auto file = open("file");
        std::filesystem::resize_file(path("file"), 0);
        EXPECT_TRUE(isZero(file->bytes()));
        EXPECT_EQ(changeOf(*file), changed);
    }
    write("other", std::string(mappedSize, 'b'));
    EXPECT_EQ(changeOf(*open("other")), "");
}

TEST_F(MappedFileTest, filesAreCutUnderManyThreads) {
    constexpr int count = 8;
    std::vector<std::thread> threads;
    std::vector<std::string> results(count);
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([this, number, &result = results.at(static_cast<std::size_t>(number))] {
            const std::string name = "file" + std::to_string(number);
            for (int round = 0; round < 20; ++round) {
                write(name, std::string(mappedSize, 'a'));
                const auto file = open(name);
                std::filesystem::resize_file(path(name), 0);
                if (!isZero(file->bytes()) || changeOf(*file) != changed) {
                    result = "round " + std::to_string(round);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(results, std::vector<std::string>(count));
}

TEST_F(MappedFileTest, threadsShareAFileThatIsCut) {
    write("file", std::string(1 << 20U, 'a'));
    const auto file = open("file");
    std::filesystem::resize_file(path("file"), 0);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&file] { EXPECT_TRUE(isZero(file->bytes())); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(changeOf(*file), changed);
}

TEST_F(MappedFileTest, thereIsAnEndToTheNumberOfFiles) {
    write("file", std::string(mappedSize, 'a'));
    std::vector<std::shared_ptr<const MappedFile>> files;
    std::string refused;
    while (refused.empty() && files.size() < 2000) {
        refused = refusalOf([&] { return files.emplace_back(open("file")); });
    }
    // Whichever comes first: the limit of the system or ours.
    EXPECT_TRUE(refused == "too many files are being looked at" || refused == "cannot be read") << refused;
    files.clear();
    EXPECT_EQ(refusal("file"), "");
}

TEST_F(MappedFileTest, attributesAreThoseOfTheOpenFile) {
    write("file", "content");
    if (::setxattr(path("file").c_str(), "user.test", "value", 5, 0) != 0) {
        GTEST_SKIP() << "no extended attributes in this file system";
    }
    const auto file = open("file");
    write("other", "content");
    std::filesystem::rename(path("other"), path("file"));
    ASSERT_TRUE(file->attribute("user.test"));
    EXPECT_EQ(asText(*file->attribute("user.test")), "value");
    EXPECT_FALSE(file->attribute("user.none"));
}

} // namespace

} // namespace InstallerCore::CodeSign
