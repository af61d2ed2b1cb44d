#include "InstallerCore/install/StagingDirectory.h"

#include "tests/InstallerCore/install/InstallScene.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/Trap.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <regex>
#include <set>
#include <string>

namespace InstallerCore {

namespace {

using Testing::allTraps;
using testing::ElementsAre;
using Testing::expectInstallerError;
using Testing::expectPlatformError;
using testing::IsEmpty;
using Testing::permissionsOf;
using Testing::readFile;
using Testing::TestPlatform;
using Testing::Trap;
using Testing::TrapKind;
using Testing::treeAt;
using Testing::writeFile;
using Phase = InstallationJournal::Phase;

class StagingDirectoryTest : public testing::Test {
protected:
    StagingDirectoryTest() {
        std::filesystem::create_directory(directory_);
        destination_ = test_.folders.open(directory_);
    }

    [[nodiscard]] std::filesystem::path pathOf(const StagingDirectory& staging) const {
        return directory_ / staging.name();
    }

    // What the destination holds besides.
    [[nodiscard]] std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    TestPlatform test_;
    std::filesystem::path directory_ = test_.home / "Applications";
    std::unique_ptr<Folder> destination_;
};

TEST_F(StagingDirectoryTest, NameIsThePrefixAndAnIdentifierInUpperCase) {
    const std::regex form(
        "\\.kavio-install-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> names;
    for (int made = 0; made < 20; ++made) {
        const auto staging = StagingDirectory::create(*destination_);
        EXPECT_TRUE(std::regex_match(staging.name(), form)) << staging.name();
        EXPECT_TRUE(StagingDirectory::isName(staging.name()));
        names.insert(staging.name());
    }
    EXPECT_EQ(names.size(), 20U);
    EXPECT_EQ(entries(), names);
}

TEST(StagingNameTest, IsThePrefixAndAnIdentifierInEitherCase) {
    const struct {
        const char* name;
        bool is;
    } rows[] = {
        {".kavio-install-01234567-89AB-CDEF-0123-456789ABCDEF", true},
        {".kavio-install-01234567-89ab-cdef-0123-456789abcdef", true},
        {".kavio-install-01234567-89aB-cdEF-0123-456789abcdeF", true},
        {".kavio-install-00000000-0000-0000-0000-000000000000", true},
        {".kavio-install-01234567-89AB-CDEF-0123-456789ABCDE", false},
        {".kavio-install-01234567-89AB-CDEF-0123-456789ABCDEF0", false},
        {".kavio-install-01234567-89AB-CDEF-0123-456789ABCDEF ", false},
        {".kavio-install-0123456789ABCDEF0123456789ABCDEF", false},
        {".kavio-install-{01234567-89AB-CDEF-0123-456789ABCDEF}", false},
        {".kavio-install-01234567-89AB-CDEF-0123-456789ABCDEG", false},
        {".kavio-install-01234567+89AB-CDEF-0123-456789ABCDEF", false},
        {".kavio-install-notes", false},
        {".kavio-install-", false},
        {".Kavio-install-01234567-89AB-CDEF-0123-456789ABCDEF", false},
        {"kavio-install-01234567-89AB-CDEF-0123-456789ABCDEF", false},
        {".kavio-removed-01234567-89AB-CDEF-0123-456789ABCDEF", false},
        {"01234567-89AB-CDEF-0123-456789ABCDEF", false},
        {"", false},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(StagingDirectory::isName(row.name), row.is) << row.name;
    }
}

TEST_F(StagingDirectoryTest, DirectoryIsForTheOwnerOnlyWhateverTheMask) {
    Testing::runInChild([] {
        Testing::dropPrivileges();
        for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
            TestPlatform test;
            ::umask(mask);
            const auto destination = test.folders.open(test.home.path());
            auto staging = StagingDirectory::create(*destination);
            staging.record(Phase::copying, "2.0.0");
            EXPECT_EQ(permissionsOf(test.home / staging.name()), 0700U) << mask;
            EXPECT_EQ(permissionsOf(test.home / staging.name() / "transaction.json"), 0600U) << mask;
            ::umask(022);
        }
    });
}

TEST_F(StagingDirectoryTest, DestinationThatIsMissingIsNotMade) {
    std::filesystem::remove(directory_);
    expectPlatformError(FileErrorCode::noSuchFile,
                        [this] { static_cast<void>(StagingDirectory::create(*destination_)); });
    EXPECT_FALSE(std::filesystem::exists(directory_));
}

TEST_F(StagingDirectoryTest, EachRecordReplacesTheWholeJournal) {
    auto staging = StagingDirectory::create(*destination_);
    for (const auto& [phase, text] :
         {std::pair(Phase::replacing, "replacing"), std::pair(Phase::copying, "copying")}) {
        staging.record(phase, "2.0.0");
        EXPECT_THAT(
            treeAt(pathOf(staging)),
            ElementsAre(std::pair("transaction.json", "file {\"target\":\"Kavio.app\",\"phase\":\"" +
                                                          std::string(text) + "\",\"version\":\"2.0.0\"}")));
        EXPECT_EQ(staging.journal().phase, phase);
        EXPECT_EQ(staging.journal().version, "2.0.0");
    }
}

TEST_F(StagingDirectoryTest, PlantedJournalIsReplacedAndNotWrittenThrough) {
    for (const TrapKind kind : {TrapKind::link, TrapKind::danglingLink, TrapKind::fifo, TrapKind::socket}) {
        SCOPED_TRACE(nameOf(kind));
        auto staging = StagingDirectory::create(*destination_);
        const Trap trap(pathOf(staging) / "transaction.json", kind);
        staging.record(Phase::copying, "2.0.0");
        trap.expectOutsideUntouched();
        EXPECT_EQ(staging.journal().phase, Phase::copying);
    }
}

TEST_F(StagingDirectoryTest, PlantedJournalIsNotReadThrough) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const auto staging = StagingDirectory::create(*destination_);
        const Trap trap(pathOf(staging) / "transaction.json", kind);
        expectPlatformError(FileErrorCode::notRegularFile, [&] { static_cast<void>(staging.journal()); });
        trap.expectUntouched();
    }
}

TEST_F(StagingDirectoryTest, JournalOfEndlessLengthIsNotRead) {
    const auto staging = StagingDirectory::create(*destination_);
    const std::string start = R"({"target":"Kavio.app","x":")";
    constexpr std::size_t longest = 65'536;
    writeFile(pathOf(staging) / "transaction.json",
              start + std::string(longest - start.size() - 2, 'x') + "\"}");
    EXPECT_EQ(staging.journal().phase, std::nullopt);
    writeFile(pathOf(staging) / "transaction.json",
              start + std::string(longest - start.size() - 1, 'x') + "\"}");
    expectPlatformError(FileErrorCode::readTooLarge, [&] { static_cast<void>(staging.journal()); });
}

TEST_F(StagingDirectoryTest, EntriesMoveToAndFro) {
    auto staging = StagingDirectory::create(*destination_);
    EXPECT_FALSE(staging.hasBackup());
    std::filesystem::create_directory(directory_ / "Kavio.app");
    writeFile(directory_ / "Kavio.app/old", "");
    std::filesystem::create_directory(pathOf(staging) / "Kavio.app");
    writeFile(pathOf(staging) / "Kavio.app/new", "");

    staging.moveTargetToBackup();
    EXPECT_TRUE(staging.hasBackup());
    EXPECT_EQ(staging.backupAttributes().type, FileType::directory);
    staging.moveCopyToTarget();
    EXPECT_TRUE(std::filesystem::exists(directory_ / "Kavio.app/new"));
    expectPlatformError(FileErrorCode::writeFileExists, [&] { staging.moveBackupToTarget(); });
    staging.takeRefusedTarget();
    staging.moveBackupToTarget();
    EXPECT_TRUE(std::filesystem::exists(directory_ / "Kavio.app/old"));
    EXPECT_FALSE(staging.hasBackup());
    staging.remove();
    EXPECT_THAT(entries(), ElementsAre("Kavio.app"));
}

TEST_F(StagingDirectoryTest, NothingIsEverReplaced) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        auto staging = StagingDirectory::create(*destination_);
        std::filesystem::create_directory(directory_ / "Kavio.app");
        const Trap trap(pathOf(staging) / "previous.app", kind);
        expectPlatformError(FileErrorCode::writeFileExists, [&] { staging.moveTargetToBackup(); });
        EXPECT_TRUE(staging.hasBackup()); // even one that leads nowhere
        trap.expectUntouched();
        std::filesystem::remove(directory_ / "Kavio.app");
        staging.remove();
        trap.expectOutsideUntouched();
    }
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(StagingDirectoryTest, OnlyADirectoryIsOpened) {
    for (const TrapKind kind : allTraps) {
        SCOPED_TRACE(nameOf(kind));
        const std::string name = ".kavio-install-00000000-0000-4000-8000-000000000000";
        std::filesystem::remove(directory_ / name);
        const Trap trap(directory_ / name, kind);
        if (kind == TrapKind::directory) {
            EXPECT_EQ(StagingDirectory::open(*destination_, name).name(), name);
            continue;
        }
        try {
            static_cast<void>(StagingDirectory::open(*destination_, name));
            ADD_FAILURE() << "no error";
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), ErrorDomain::file);
        }
        trap.expectUntouched();
    }
}

// Cut short before any of its calls, a removal leaves the journal until nothing else is there; what remains
// after that has no name of a staging directory any more.
TEST_F(StagingDirectoryTest, RemovalThatIsCutShortKeepsTheJournalToTheLast) {
    constexpr int calls = 5; // names, two entries, move, removeTree
    for (int call = 1; call <= calls; ++call) {
        SCOPED_TRACE(call);
        TestPlatform test;
        const auto destination = test.folders.open(test.home.path());
        auto staging = StagingDirectory::create(*destination);
        const auto path = test.home / staging.name();
        staging.record(Phase::replacing, "2.0.0");
        std::filesystem::create_directory(path / "previous.app");
        writeFile(path / ".new-transaction.json", "half");
        const auto before = std::ssize(test.files.calls());
        test.files.failAtAny(call, FileErrorCode::writeUnknown);
        expectPlatformError(FileErrorCode::writeUnknown, [&] { staging.remove(); });
        EXPECT_EQ(std::ssize(test.files.calls()) - before, call);
        if (call == calls) {
            EXPECT_FALSE(std::filesystem::exists(path));
            for (const auto& entry : std::filesystem::directory_iterator(test.home.path())) {
                EXPECT_TRUE(entry.path().filename().string().starts_with(".kavio-removed-"));
                EXPECT_THAT(treeAt(entry.path()), ElementsAre(testing::Key("transaction.json")));
            }
        } else {
            EXPECT_TRUE(std::filesystem::exists(path / "transaction.json"));
            const std::ptrdiff_t left = call <= 2 ? 3 : 5 - call; // entries
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path), {}), left);
        }
    }
}

TEST_F(StagingDirectoryTest, RemovalFollowsNoLink) {
    auto staging = StagingDirectory::create(*destination_);
    std::filesystem::create_directory(pathOf(staging) / "Kavio.app");
    const Trap direct(pathOf(staging) / "link", TrapKind::linkToDirectory);
    const Trap nested(pathOf(staging) / "Kavio.app/link", TrapKind::linkToDirectory);
    staging.remove();
    direct.expectOutsideUntouched();
    nested.expectOutsideUntouched();
    EXPECT_THAT(entries(), IsEmpty());
}

// Everything but the name goes by what was opened, not by what has the name now.
TEST_F(StagingDirectoryTest, SwappedDirectoryIsNotWrittenTo) {
    auto staging = StagingDirectory::create(*destination_);
    const auto path = pathOf(staging);
    std::filesystem::rename(path, directory_ / "aside");
    const Trap trap(path, TrapKind::linkToDirectory);
    staging.record(Phase::copying, "2.0.0");
    EXPECT_TRUE(std::filesystem::exists(directory_ / "aside/transaction.json"));
    std::filesystem::create_directory(directory_ / "Kavio.app");
    staging.moveTargetToBackup();
    EXPECT_TRUE(std::filesystem::exists(directory_ / "aside/previous.app"));
    trap.expectUntouched();
    staging.remove(); // the link with the name, and what was opened is empty but for the journal
    trap.expectOutsideUntouched();
    EXPECT_THAT(entries(), ElementsAre("aside"));
    EXPECT_THAT(treeAt(directory_ / "aside"), ElementsAre(testing::Key("transaction.json")));
}

TEST_F(StagingDirectoryTest, ContainsGoesByExactNamesInTheListing) {
    writeFile(directory_ / "kavio.app", "");
    EXPECT_FALSE(contains(*destination_, "Kavio.app"));
    std::filesystem::create_symlink("nowhere", directory_ / "Kavio.app");
    EXPECT_TRUE(contains(*destination_, "Kavio.app"));
    EXPECT_FALSE(contains(*destination_, "Kavio"));
    test_.files.failAt("Directory.names", 1, FileErrorCode::readUnknown);
    expectPlatformError(FileErrorCode::readUnknown,
                        [this] { static_cast<void>(contains(*destination_, "x")); });
}

} // namespace

} // namespace InstallerCore
