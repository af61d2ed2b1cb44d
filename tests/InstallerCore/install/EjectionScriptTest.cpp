#include "InstallerCore/install/InstallerDiskImage.h"
#include "hosts/posix/ProcessesPosix.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <sstream>

// The script itself, and the script run by a real shell. There, programs of this test stand in the place of
// the system's tools: each writes down its call and does what the test says.
namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::TemporaryDirectory;
using Testing::writeFile;
using Lines = std::vector<std::string>;

TEST(EjectionScriptTest, TextIsTheAgreedOne) {
    const std::string expected = "count=0\n"
                                 "while /bin/kill -0 \"$1\" 2>/dev/null; do\n"
                                 "  count=$((count + 1))\n"
                                 "  [ \"$count\" -ge 10 ] && exit 0\n"
                                 "  /bin/sleep 1\n"
                                 "done\n"
                                 "count=0\n"
                                 "while [ \"$count\" -lt 3 ]; do\n"
                                 "  /usr/bin/hdiutil detach \"$2\" >/dev/null 2>&1 && exit 0\n"
                                 "  count=$((count + 1))\n"
                                 "  /bin/sleep 1\n"
                                 "done\n"
                                 "/usr/bin/logger -t KavioInstaller 'Installer disk image ejection deferred: "
                                 "volume busy or unavailable'";
    EXPECT_EQ(InstallerDiskImage::ejectionScript, expected);
    EXPECT_EQ(InstallerDiskImage::ejectionScript.size(), 362U);
}

class EjectionScriptRunTest : public testing::Test {
protected:
    EjectionScriptRunTest() {
        // A tool answers its n-th call with status 0 when the file of its plan holds a line with that number.
        for (const std::string tool : {"kill", "sleep", "hdiutil", "logger"}) {
            writeFile(folder_ / (tool + ".plan"), "");
            writeFile(folder_ / tool, "#!/bin/sh\n"
                                      "cd '" +
                                          folder_.path().string() +
                                          "' || exit 99\n"
                                          "printf '" +
                                          tool +
                                          "' >>calls\n"
                                          "printf ' [%s]' \"$@\" >>calls\n"
                                          "printf '\\n' >>calls\n"
                                          "echo noise; echo noise >&2\n"
                                          "grep -qx \"$(grep -c '^" +
                                          tool + "' calls)\" " + tool + ".plan\n");
            std::filesystem::permissions(folder_ / tool, std::filesystem::perms{0700});
        }
    }

    // The calls that the tool answers with success.
    void succeed(const std::string& tool, int from, int to) const {
        std::string plan;
        for (int call = from; call <= to; ++call) {
            plan += std::to_string(call) + '\n';
        }
        writeFile(folder_ / (tool + ".plan"), plan);
    }

    // The script's own exit status.
    int run(const std::string& mount = "/Volumes/Kavio") {
        writeFile(folder_ / "calls", "");
        const ProcessResult result =
            ProcessesPosix().run("/bin/sh", {"-c", script(), "kavio-installer-eject", "4711", mount},
                                 Processes::ErrorOutput::discarded);
        return result.status;
    }

    // A line for each call, with its arguments in brackets.
    [[nodiscard]] Lines calls() const {
        std::istringstream stream(Testing::readFile(folder_ / "calls"));
        Lines lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    static Lines times(int count, const Lines& some) {
        Lines lines;
        for (int round = 0; round < count; ++round) {
            lines.insert(lines.end(), some.begin(), some.end());
        }
        return lines;
    }

    static Lines joined(Lines first, const Lines& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    static inline const std::string test = "kill [-0] [4711]";
    static inline const std::string sleep = "sleep [1]";
    static inline const std::string detach = "hdiutil [detach] [/Volumes/Kavio]";
    static inline const std::string logged =
        "logger [-t] [KavioInstaller] [Installer disk image ejection deferred: volume busy or unavailable]";

private:
    [[nodiscard]] std::string script() const {
        std::string text(InstallerDiskImage::ejectionScript);
        for (const std::string tool : {"/bin/kill", "/bin/sleep", "/usr/bin/hdiutil", "/usr/bin/logger"}) {
            const auto place = text.find(tool);
            const std::string recorder = folder_ / tool.substr(tool.rfind('/') + 1);
            for (auto at = place; at != std::string::npos; at = text.find(tool, at + recorder.size())) {
                text.replace(at, tool.size(), recorder);
            }
        }
        return text;
    }

    TemporaryDirectory folder_;
};

TEST_F(EjectionScriptRunTest, InstallerThatStaysKeepsItsVolume) {
    succeed("kill", 1, 100);
    succeed("hdiutil", 1, 100);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(calls(), joined(times(9, {test, sleep}), {test}));
}

TEST_F(EjectionScriptRunTest, VolumeIsDetachedOnceTheInstallerHasGone) {
    succeed("hdiutil", 1, 1);
    for (int alive = 0; alive <= 9; ++alive) { // tests that still find it
        SCOPED_TRACE(alive);
        succeed("kill", 1, alive);
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(calls(), joined(times(alive, {test, sleep}), {test, detach}));
    }
}

TEST_F(EjectionScriptRunTest, DetachIsTriedThreeTimes) {
    for (int success = 1; success <= 3; ++success) {
        SCOPED_TRACE(success);
        succeed("hdiutil", success, success);
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(calls(), joined(joined({test}, times(success - 1, {detach, sleep})), {detach}));
    }
}

TEST_F(EjectionScriptRunTest, VolumeThatStaysBusyIsLogged) {
    succeed("logger", 1, 1);
    succeed("hdiutil", 4, 100);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(calls(), joined(joined({test}, times(3, {detach, sleep})), {logged}));
}

TEST_F(EjectionScriptRunTest, FailedLogIsTheStatus) {
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(calls(), joined(joined({test}, times(3, {detach, sleep})), {logged}));
}

TEST_F(EjectionScriptRunTest, FailedSleepDoesNotMatter) {
    succeed("kill", 1, 2);
    succeed("hdiutil", 2, 2);
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(calls(), ElementsAre(test, sleep, test, sleep, test, detach, sleep, detach));
}

TEST_F(EjectionScriptRunTest, MountPointIsOneArgumentWhateverItsCharacters) {
    succeed("hdiutil", 1, 1);
    for (const std::string mount :
         {"/Volumes/two words", "/Volumes/it's", "/Volumes/\"quoted\"", "/Volumes/$(touch x)",
          "/Volumes/`touch x`", "/Volumes/*", "-force", "", "/Volumes/a;b&c|d>e", "/Volumes/\\n%s",
          "/Volumes/caf\u00E9 \xFF", "/Volumes/two\nlines"}) {
        EXPECT_EQ(run(mount), 0);
        std::string all;
        for (const std::string& line : calls()) {
            all += line + '\n';
        }
        EXPECT_EQ(all, test + "\nhdiutil [detach] [" + mount + "]\n");
    }
}

} // namespace

} // namespace InstallerCore
