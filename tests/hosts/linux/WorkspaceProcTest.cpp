#include "hosts/linux/WorkspaceProc.h"

#include "hosts/linux/PropertyListsLibplist.h"
#include "hosts/posix/FilesPosix.h"
#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/EnvironmentVariable.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

// Real processes, started from real bundles.
namespace InstallerCore {

namespace {

using Testing::Program;
using Testing::writeFile;

class WorkspaceProcTest : public testing::Test {
protected:
    // Of this process alone: other tests run beside it.
    const std::string identifier = "test.kavio.workspace-" + std::to_string(::getpid());

    WorkspaceProcTest() {
        std::filesystem::permissions(folder_.path(), std::filesystem::perms{0755});
        makeBundle("Kavio.app", identifier);
    }

    [[nodiscard]] std::filesystem::path place(const std::string& name) const { return folder_ / name; }

    [[nodiscard]] static std::string executableIn(const std::string& bundle) {
        return bundle + "/Contents/Linux/Program";
    }

    void writeList(const std::string& bundle, const std::string& dictionary) const {
        writeFile(place(bundle) / "Contents/Info.plist",
                  "<plist version=\"1.0\"><dict>" + dictionary + "</dict></plist>");
    }

    void makeBundle(const std::string& bundle, const std::string& itsIdentifier) const {
        std::filesystem::create_directories(place(bundle) / "Contents/Linux");
        std::filesystem::copy_file("/bin/cat", place(executableIn(bundle))); // lives until its input ends
        writeList(bundle, "<key>CFBundleIdentifier</key><string>" + itsIdentifier + "</string>");
    }

    // Started, and past the moment when it still was a copy of this test.
    class Running {
    public:
        explicit Running(const std::filesystem::path& executable) : program_({executable}) {
            EXPECT_TRUE(program_.echoes());
        }

        void end() { static_cast<void>(program_.wait()); }

    private:
        Program program_;
    };

    [[nodiscard]] bool isRunning() { return isRunning(identifier); }

    [[nodiscard]] bool isRunning(const std::string& asked) { return workspace_.isRunning(asked); }

    Testing::TemporaryDirectory folder_;
    FilesPosix files_{folder_.path()};
    PropertyListsLibplist propertyLists_;
    WorkspaceProc workspace_{files_, propertyLists_};
};

TEST_F(WorkspaceProcTest, ApplicationRunsFromItsStartToItsEnd) {
    EXPECT_FALSE(isRunning());
    Running application(place(executableIn("Kavio.app")));
    EXPECT_TRUE(isRunning());
    application.end();
    EXPECT_FALSE(isRunning());
}

TEST_F(WorkspaceProcTest, OneOfTwoInstancesIsEnough) {
    Running first(place(executableIn("Kavio.app")));
    Running second(place(executableIn("Kavio.app")));
    first.end();
    EXPECT_TRUE(isRunning());
    second.end();
    EXPECT_FALSE(isRunning());
}

TEST_F(WorkspaceProcTest, IdentifierIsComparedWhole) {
    const Running application(place(executableIn("Kavio.app")));
    std::string otherCase = identifier;
    otherCase.front() = 'T';
    for (const std::string& other : {identifier + "2", identifier.substr(0, identifier.size() - 1),
                                     identifier.substr(1), otherCase, std::string(" "), std::string()}) {
        EXPECT_FALSE(isRunning(other)) << other;
    }
}

TEST_F(WorkspaceProcTest, BundleMayLieAnywhereUnderAnyName) {
    makeBundle("else where/Old copy", "test.kavio.elsewhere");
    const Running application(place(executableIn("else where/Old copy")));
    EXPECT_TRUE(isRunning("test.kavio.elsewhere"));
    EXPECT_FALSE(isRunning());
}

TEST_F(WorkspaceProcTest, ExecutableThatWasDeletedStillRuns) {
    const Running application(place(executableIn("Kavio.app")));
    std::filesystem::remove(place(executableIn("Kavio.app")));
    EXPECT_TRUE(isRunning());
    std::filesystem::remove_all(place("Kavio.app/Contents/Linux"));
    EXPECT_TRUE(isRunning());
}

TEST_F(WorkspaceProcTest, BundleThatWasMovedStillRuns) {
    const Running application(place(executableIn("Kavio.app")));
    std::filesystem::create_directory(place("staging"));
    std::filesystem::rename(place("Kavio.app"), place("staging/previous.app"));
    EXPECT_TRUE(isRunning());
}

TEST_F(WorkspaceProcTest, StartThroughALinkCountsForWhereTheBundleLies) {
    std::filesystem::create_directory_symlink("Kavio.app", place("link"));
    const Running application(place(executableIn("link")));
    EXPECT_TRUE(isRunning());
}

TEST_F(WorkspaceProcTest, HelperCountsForTheInnermostBundle) {
    const std::string helper = "Kavio.app/Contents/Helpers/Helper.app";
    makeBundle(helper, "test.kavio.helper");
    const Running running(place(executableIn(helper)));
    EXPECT_TRUE(isRunning("test.kavio.helper"));
    EXPECT_FALSE(isRunning());
}

TEST_F(WorkspaceProcTest, ExecutableDeepInTheBundleCounts) {
    std::filesystem::create_directories(place("Kavio.app/Contents/Resources/a/b"));
    std::filesystem::copy_file("/bin/cat", place("Kavio.app/Contents/Resources/a/b/tool"));
    const Running running(place("Kavio.app/Contents/Resources/a/b/tool"));
    EXPECT_TRUE(isRunning());
}

// A copy of this very program, run from the bundle, asks the question there.
TEST_F(WorkspaceProcTest, ThisProcessNeverCounts) {
    constexpr const char* place = "KAVIO_TEST_PLACE";
    constexpr const char* own = "test.kavio.own";
    if (const char* const expected = std::getenv(place)) {
        EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe"), expected);
        EXPECT_FALSE(isRunning(own));
        Testing::runInChild([this] { EXPECT_TRUE(isRunning(own)) << "its parent is another process"; });
        return;
    }
    writeList("Kavio.app", std::string("<key>CFBundleIdentifier</key><string>") + own + "</string>");
    const auto copy = this->place(executableIn("Kavio.app"));
    std::filesystem::remove(copy);
    std::filesystem::copy_file("/proc/self/exe", copy);
    const Testing::EnvironmentVariable variable(place, copy);
    const ProcessResult result = ProcessesPosix().run(
        copy, {"--gtest_filter=WorkspaceProcTest.ThisProcessNeverCounts"}, Processes::ErrorOutput::inherited);
    EXPECT_EQ(result.status, 0) << asText(result.output);
    EXPECT_NE(asText(result.output).find("1 test from"), std::string_view::npos);
}

TEST_F(WorkspaceProcTest, ListOfNoUseDoesNotMakeABundle) {
    const Running application(place(executableIn("Kavio.app")));
    writeFile(place("Kavio.app/Contents/Info.plist"), "nonsense");
    EXPECT_FALSE(isRunning());
    std::filesystem::remove(place("Kavio.app/Contents/Info.plist"));
    EXPECT_FALSE(isRunning());
    ASSERT_EQ(::mkfifo(place("Kavio.app/Contents/Info.plist").c_str(), 0600), 0);
    EXPECT_FALSE(isRunning());
    std::filesystem::remove(place("Kavio.app/Contents/Info.plist"));
    writeFile(place("Kavio.app/Contents/Info.plist"), std::string((std::size_t{16} << 20U) + 1, ' '));
    EXPECT_FALSE(isRunning());
}

TEST_F(WorkspaceProcTest, HelperWithAListOfNoUseCountsForTheBundleAround) {
    const std::string helper = "Kavio.app/Contents/Helpers/Helper.app";
    makeBundle(helper, "test.kavio.helper");
    writeFile(place(helper) / "Contents/Info.plist", "nonsense");
    const Running running(place(executableIn(helper)));
    EXPECT_TRUE(isRunning());
}

TEST_F(WorkspaceProcTest, BundleWithoutAnIdentifierIsNobodys) {
    const Running application(place(executableIn("Kavio.app")));
    for (const std::string& dictionary : {std::string(), std::string("<key>CFBundleIdentifier</key><true/>"),
                                          "<key>CFBundleName</key><string>" + identifier + "</string>"}) {
        writeList("Kavio.app", dictionary);
        EXPECT_FALSE(isRunning());
        EXPECT_FALSE(isRunning(""));
    }
}

TEST_F(WorkspaceProcTest, ProcessOfAnotherUserIsSeenByTheSuperuserOnly) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can be two users";
    }
    const Running application(place(executableIn("Kavio.app")));
    EXPECT_TRUE(isRunning());
    Testing::runInChild([this] {
        Testing::dropPrivileges();
        EXPECT_FALSE(isRunning());
    });
}

} // namespace

} // namespace InstallerCore
