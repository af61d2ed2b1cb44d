#include "tests/hosts/linux/tools/HdiutilFixture.h"

#include <cerrno>

namespace InstallerCore {

namespace {

using namespace Testing;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

// The tool ends, or a call fails, before each change that it makes; then it is used again.
class HdiutilCrashTest : public HdiutilFixture {
protected:
    void SetUp() override {
        if (!canTrace()) {
            GTEST_SKIP() << "tracing is not permitted";
        }
        image_ = makeSmallImage();
        content_ = describeTree(mount(image_));
        ASSERT_EQ(detach(volumes_ / "Kavio").status, 0);
    }

    // Runs the command with the answer before its n-th change. Whether it made so many.
    [[nodiscard]] bool runUntil(const std::vector<std::string>& arguments, int number, CallAnswer answer,
                                TracedEnd& end) const {
        int seen = 0;
        bool reached = false;
        end = traceProgram(command(arguments), TracedEffects::changes, [&](const SystemCall& call) {
            if (call.effect != SystemCall::Effect::change || ++seen != number) {
                return CallAnswer::proceed();
            }
            reached = true;
            return answer;
        });
        return reached;
    }

    // What is visible is a whole volume or nothing.
    void expectNothingHalf() const {
        for (const std::string& name : volumes()) {
            EXPECT_EQ(describeTree(volumes_ / name), content_) << name;
        }
    }

    void expectAllIsWellAgain() const {
        EXPECT_EQ(mount(image_), volumes_ / "Kavio");
        EXPECT_EQ(describeTree(volumes_ / "Kavio"), content_);
        EXPECT_EQ(volumes(), Names{"Kavio"});
        EXPECT_EQ(state().size(), 1U);
        EXPECT_EQ(detach(volumes_ / "Kavio").status, 0);
        EXPECT_EQ(volumes(), Names());
        EXPECT_EQ(state(), Names());
    }

    [[nodiscard]] std::vector<std::string> attaching() const {
        return {"attach", "-readonly", "-nobrowse", "-plist", image_};
    }

    [[nodiscard]] std::vector<std::string> detaching() const { return {"detach", volumes_ / "Kavio"}; }

    fs::path image_;
    std::vector<std::string> content_;
};

TEST_F(HdiutilCrashTest, AKilledAttachLeavesNothingHalf) {
    constexpr int fewest = 15;
    TracedEnd end;
    int number = 1;
    for (; runUntil(attaching(), number, CallAnswer::kill(Victims::all), end); ++number) {
        SCOPED_TRACE(number);
        expectNothingHalf();
        expectAllIsWellAgain();
    }
    EXPECT_GT(number, fewest);
    EXPECT_EQ(end.status, 0);
}

TEST_F(HdiutilCrashTest, AKilledDetachLeavesNothingHalf) {
    constexpr int fewest = 8;
    TracedEnd end;
    int number = 1;
    for (bool reached = true; reached; ++number) {
        SCOPED_TRACE(number);
        static_cast<void>(mount(image_));
        reached = runUntil(detaching(), number, CallAnswer::kill(Victims::all), end);
        expectNothingHalf();
        expectAllIsWellAgain();
    }
    EXPECT_GT(number, fewest);
}

TEST_F(HdiutilCrashTest, AnAttachWithAFailingCallSucceedsOrLeavesNothing) {
    TracedEnd end;
    for (int number = 1; runUntil(attaching(), number, CallAnswer::fail(ENOSPC), end); ++number) {
        SCOPED_TRACE(number);
        if (end.status == 0) { // the call was one of its cleaning up
            EXPECT_EQ(volumes(), Names{"Kavio"});
        } else {
            EXPECT_EQ(end.status, 1);
            EXPECT_TRUE(end.errors.starts_with("hdiutil: attach failed - ")) << end.errors;
            EXPECT_EQ(volumes(), Names());
        }
        expectNothingHalf();
        expectAllIsWellAgain();
    }
}

} // namespace

} // namespace InstallerCore
