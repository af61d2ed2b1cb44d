#include "InstallerCore/install/InstallerDiskImage.h"

#include "tests/support/Expect.h"
#include "tests/support/TestPlatform.h"

#include <gmock/gmock.h>

namespace InstallerCore {

namespace {

using testing::ElementsAre;
using Testing::FakeProcesses;
using testing::IsEmpty;

PropertyValue text(const std::string& value) {
    return {value};
}

PropertyValue entityOf(PropertyValue mountPoint) {
    return {PropertyDictionary{{"mount-point", std::move(mountPoint)}}};
}

PropertyValue imageOf(PropertyValue entities) {
    return {PropertyDictionary{{"system-entities", std::move(entities)}}};
}

PropertyDictionary tableOf(PropertyValue images) {
    return {{"images", std::move(images)}};
}

// One image for each list of mount points.
PropertyDictionary tableOfMounts(const std::vector<std::vector<std::string>>& images) {
    PropertyArray table;
    for (const auto& mounts : images) {
        PropertyArray entities{PropertyValue{PropertyDictionary{{"dev-entry", text("/dev/disk4")}}}};
        for (const std::string& mount : mounts) {
            entities.push_back(entityOf(text(mount)));
        }
        table.push_back(imageOf({std::move(entities)}));
    }
    return tableOf({std::move(table)});
}

class InstallerDiskImageTest : public testing::Test {
protected:
    using Mount = std::optional<std::string>;

    [[nodiscard]] Mount mountOf(const std::string& bundle, const PropertyDictionary& table) const {
        return InstallerDiskImage::containingMount(table, bundle, test_.platform);
    }

    // hdiutil answers with a list that has these mount points, in one image.
    void answer(const std::string& mountPoints, int status = 0) {
        answerWith("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>images</key><array><dict>"
                   "<key>system-entities</key><array>" +
                       mountPoints + "</array></dict></array></dict></plist>",
                   status);
    }

    void answerWith(const std::string& output, int status = 0) {
        test_.processes.tools["/usr/bin/hdiutil"] = [output, status](const FakeProcesses::Arguments&) {
            return ProcessResult{.status = status, .output = toBytes(output)};
        };
    }

    static std::string entity(const std::string& mountPoint) {
        return "<dict><key>mount-point</key><string>" + mountPoint + "</string></dict>";
    }

    void schedule(const std::string& bundle = "/Volumes/Kavio/Kavio Installer.app") const {
        InstallerDiskImage::scheduleEjection(bundle, test_.platform);
    }

    static FakeProcesses::Call infoCall() {
        return {.executable = "/usr/bin/hdiutil",
                .arguments = {"info", "-plist"},
                .errors = Processes::ErrorOutput::discarded,
                .detached = false};
    }

    static FakeProcesses::Call shellCall(const std::string& mount) {
        return {.executable = "/bin/sh",
                .arguments = {"-c", std::string(InstallerDiskImage::ejectionScript), "kavio-installer-eject",
                              "4711", mount},
                .errors = {},
                .detached = true};
    }

    Testing::TestPlatform test_;
};

TEST_F(InstallerDiskImageTest, MountThatHoldsTheBundleIsFound) {
    struct Row {
        const char* bundle;
        std::vector<std::vector<std::string>> mounts;
        Mount expected;
    };

    const Mount none;
    const Row rows[] = {
        {"/Volumes/Kavio/Kavio Installer.app", {{"/Volumes/Kavio"}}, "/Volumes/Kavio"},
        {"/Volumes/Kavio/Kavio Installer.app", {{"/Volumes/Kavio 2"}}, none},
        {"/Volumes/Kavio 2/Kavio Installer.app", {{"/Volumes/Kav"}, {"/Volumes/Kavio"}}, none},
        {"/Volumes/Kavio 2/I.app", {{"/Volumes/Kavio"}, {"/Volumes/Kavio 2"}}, "/Volumes/Kavio 2"},
        {"/Volumes/Kavio/I.app",
         {{"/Volumes/A", "/Volumes/B"}, {"/Volumes/C", "/Volumes/Kavio"}},
         "/Volumes/Kavio"},
        {"/Volumes/Kavio/inner/I.app", {{"/Volumes/Kavio/inner", "/Volumes/Kavio"}}, "/Volumes/Kavio/inner"},
        {"/Volumes/Kavio/inner/I.app", {{"/Volumes/Kavio", "/Volumes/Kavio/inner"}}, "/Volumes/Kavio"},
        {"/Volumes/Kavio/I.app/", {{"/Volumes/Kavio"}}, "/Volumes/Kavio"},
        {"/Volumes/Kavio//./x/../I.app", {{"/Volumes/Kavio"}}, "/Volumes/Kavio"},
        {"/tmp/../Volumes/Kavio/I.app", {{"/Volumes/Kavio"}}, "/Volumes/Kavio"},
        {"/Volumes/Other/../Kavio/I.app", {{"/Volumes/Other"}, {"/Volumes/Kavio"}}, "/Volumes/Kavio"},
        {"/Volumes/Kavio/../../tmp/I.app", {{"/Volumes/Kavio"}, {"/tmp"}}, none},
        {"/Volumes/Kavio", {{"/Volumes/Kavio"}}, none},
        {"/Volumes/Kavio/", {{"/Volumes/Kavio"}}, none},
        {"/Volumes/Kavio/I.app", {{"/Volumes/Kavio/"}}, none},
        {"/Volumes/Kavio/I.app", {{"/Volumes/kavio"}}, none},
        {"/Volumes/Kavio/I.app", {{""}, {"/"}, {"/Volumes"}, {"/Volumes/"}, {"Volumes/Kavio"}}, none},
        {"/Applications/I.app", {{"/"}, {"/Applications"}, {"/Volumes/Kavio"}}, none},
        {"/System/Volumes/Data/I.app", {{"/System/Volumes/Data"}}, none},
        {"Volumes/Kavio/I.app", {{"/Volumes/Kavio"}, {"Volumes/Kavio"}}, none},
        {"", {{"/Volumes/Kavio"}, {""}}, none},
        {"/Volumes/$(id) \"'\n-x/I.app", {{"/Volumes/$(id) \"'\n-x"}}, "/Volumes/$(id) \"'\n-x"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(mountOf(row.bundle, tableOfMounts(row.mounts)), row.expected) << row.bundle;
    }
}

TEST_F(InstallerDiskImageTest, TableOfAnotherShapeIsAnEmptyOne) {
    const auto mount = text("/Volumes/Kavio");
    const PropertyValue number{std::int64_t{5}};
    const PropertyDictionary tables[] = {
        {},
        {{"Images", {PropertyArray{imageOf({PropertyArray{entityOf(mount)}})}}}},
        tableOf(mount),
        tableOf(imageOf({PropertyArray{entityOf(mount)}})),
        tableOf({PropertyArray{mount, number, {PropertyArray{}}, {PropertyDictionary{}}}}),
        tableOf({PropertyArray{imageOf(mount)}}),
        tableOf({PropertyArray{imageOf(entityOf(mount))}}),
        tableOf({PropertyArray{imageOf({PropertyArray{mount, number, {PropertyArray{mount}}}})}}),
        tableOf({PropertyArray{imageOf({PropertyArray{{PropertyDictionary{}}}})}}),
        tableOf({PropertyArray{imageOf({PropertyArray{entityOf(number)}})}}),
        tableOf({PropertyArray{imageOf({PropertyArray{entityOf({toBytes("/Volumes/Kavio")})}})}}),
        tableOf({PropertyArray{imageOf({PropertyArray{entityOf({PropertyArray{mount}})}})}}),
    };
    for (const PropertyDictionary& table : tables) {
        EXPECT_EQ(mountOf("/Volumes/Kavio/I.app", table), std::nullopt);
    }
}

TEST_F(InstallerDiskImageTest, OddMembersBesideTheRightOneDoNotMatter) {
    const PropertyValue number{std::int64_t{5}};
    const PropertyValue right =
        imageOf({PropertyArray{number, entityOf(number), entityOf(text("/Volumes/Kavio"))}});
    const auto table = tableOf({PropertyArray{number, {PropertyDictionary{}}, imageOf(number), right}});
    EXPECT_EQ(mountOf("/Volumes/Kavio/I.app", table), "/Volumes/Kavio");
}

TEST_F(InstallerDiskImageTest, VolumesAreWhereThePlatformHasThem) {
    Platform platform = test_.platform;
    platform.paths.volumes = "/root/Volumes";
    const auto table = tableOfMounts({{"/Volumes/Kavio", "/root/Volumes/Kavio"}});
    EXPECT_EQ(InstallerDiskImage::containingMount(table, "/root/Volumes/Kavio/I.app", platform),
              "/root/Volumes/Kavio");
    EXPECT_EQ(InstallerDiskImage::containingMount(table, "/Volumes/Kavio/I.app", platform), std::nullopt);
}

TEST_F(InstallerDiskImageTest, EjectionIsLeftToAShell) {
    answer(entity("/Volumes/Kavio"));
    schedule();
    EXPECT_THAT(test_.processes.calls, ElementsAre(infoCall(), shellCall("/Volumes/Kavio")));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerDiskImageTest, MountPointIsAnArgumentWhateverItsCharacters) {
    answer(entity("/Volumes/it's \"$(id)\" `id`;&#10;-x"));
    schedule("/Volumes/it's \"$(id)\" `id`;\n-x/I.app");
    EXPECT_THAT(test_.processes.calls,
                ElementsAre(infoCall(), shellCall("/Volumes/it's \"$(id)\" `id`;\n-x")));
}

TEST_F(InstallerDiskImageTest, BundleOutsideTheVolumesAsksNobody) {
    answer(entity("/Volumes/Kavio"));
    for (const char* bundle :
         {"/Applications/I.app", "/tmp/../Volumes/Kavio/I.app", "Volumes/Kavio/I.app", "/VolumesKavio/I.app",
          "/Volumes", "/volumes/Kavio/I.app", "//Volumes/Kavio/I.app", ""}) {
        schedule(bundle);
    }
    EXPECT_THAT(test_.processes.calls, IsEmpty());
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerDiskImageTest, PathIsStandardizedForTheLookUpOnly) {
    answer(entity("/Volumes/Kavio"));
    schedule("/Volumes/../Volumes/Other/../Kavio/I.app");
    EXPECT_THAT(test_.processes.calls, ElementsAre(infoCall(), shellCall("/Volumes/Kavio")));
}

TEST_F(InstallerDiskImageTest, FailedQueryEndsInSilence) {
    for (const int status : {1, 9, 255}) {
        answer(entity("/Volumes/Kavio"), status);
        schedule();
    }
    EXPECT_THAT(test_.processes.calls, ElementsAre(infoCall(), infoCall(), infoCall()));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerDiskImageTest, TableOfNoUseEndsInSilence) {
    for (const char* list : {"<array/>", "<string>images</string>", "<dict/>", "<true/>",
                             "<dict><key>images</key><array/></dict>"}) {
        answerWith(std::string("<plist version=\"1.0\">") + list + "</plist>");
        schedule();
    }
    answer(entity("/Volumes/Kavio 2"));
    schedule();
    answer(entity("/Volumes/Kavio"));
    schedule("/Volumes/../Applications/I.app");
    EXPECT_THAT(test_.processes.calls, testing::Each(infoCall()));
    EXPECT_THAT(test_.processes.calls, testing::SizeIs(7));
    EXPECT_THAT(test_.log.lines(), IsEmpty());
}

TEST_F(InstallerDiskImageTest, EachFailureIsOneLineInTheLog) {
    schedule(); // there is no hdiutil
    for (const char* output : {"", "nonsense", "<plist><dict>"}) {
        answerWith(output);
        schedule();
    }
    answer(entity("/Volumes/Kavio"));
    for (const auto code : {ProcessErrorCode::noSuchExecutable, ProcessErrorCode::cannotLaunch}) {
        test_.processes.detachedFailure = std::make_exception_ptr(PlatformError(code));
        schedule();
    }
    const std::string unreadable =
        "Installer disk image ejection deferred: The property list could not be read.";
    EXPECT_THAT(test_.log.lines(),
                ElementsAre("Installer disk image ejection deferred: The program does not exist.", unreadable,
                            unreadable, unreadable,
                            "Installer disk image ejection deferred: The program does not exist.",
                            "Installer disk image ejection deferred: The program could not be started."));
}

TEST_F(InstallerDiskImageTest, ToolsAreThoseOfThePlatform) {
    answer(entity("/root/Volumes/Kavio"));
    test_.processes.tools["/root/hdiutil"] = test_.processes.tools["/usr/bin/hdiutil"];
    Platform platform = test_.platform;
    platform.paths.hdiutil = "/root/hdiutil";
    platform.paths.shell = "/root/sh";
    platform.paths.volumes = "/root/Volumes";
    InstallerDiskImage::scheduleEjection("/root/Volumes/Kavio/I.app", platform);
    ASSERT_EQ(test_.processes.calls.size(), 2U);
    EXPECT_EQ(test_.processes.calls[0].executable, "/root/hdiutil");
    EXPECT_EQ(test_.processes.calls[1].executable, "/root/sh");
}

} // namespace

} // namespace InstallerCore
