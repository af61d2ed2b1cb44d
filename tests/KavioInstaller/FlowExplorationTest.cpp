#include "tests/KavioInstaller/FlowModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <random>

namespace InstallerCore {

namespace {

using Testing::FlowFixture;
using Testing::FlowModel;
using Testing::Lines;

// What happens to a flow by itself: every user action comes on top of it.
struct Scenario {
    const char* name;
    void (*setUp)(FlowFixture& flow);
    OpenResult opening;
};

void readyToOpen(FlowFixture& flow) {
    flow.core.installed = "/Applications/Kavio.app";
}

void nothingInstalled(FlowFixture& flow) {
    flow.core.reports = {{.seconds = 1, .received = 1, .total = 2},
                         {.seconds = 1, .received = 2, .total = 2}};
    flow.core.messages = {InstallerMessage::verifying};
}

const Scenario scenarios[] = {
    {"Found", readyToOpen, Testing::runs},
    {"FoundAndRefused", readyToOpen, Testing::isRefused},
    {"FoundAndNotRunning", readyToOpen, Testing::isNowhere},
    {"FirstCheckFails", [](FlowFixture& flow) { flow.core.failOnce("existing", "Unsafe cache directory"); },
     Testing::runs},
    {"FirstCheckFailsThenFinds",
     [](FlowFixture& flow) {
         readyToOpen(flow);
         flow.core.failOnce("shouldResume", "Unsafe cache directory");
     },
     Testing::runs},
    {"Installs", nothingInstalled, Testing::runs},
    {"InstallsAndIsRefused", nothingInstalled, Testing::isRefused},
    {"Resumes",
     [](FlowFixture& flow) {
         nothingInstalled(flow);
         flow.core.isPending = true;
     },
     Testing::runs},
    {"IsCurrent", [](FlowFixture& flow) { flow.core.current = "/Applications/Kavio.app"; }, Testing::runs},
    {"DownloadFails",
     [](FlowFixture& flow) {
         nothingInstalled(flow);
         flow.core.failOnce("more of the download", "Incomplete download");
     },
     Testing::runs},
    {"InstallationFails",
     [](FlowFixture& flow) {
         nothingInstalled(flow);
         flow.core.failOnce("more of the installation", "Application version mismatch");
     },
     Testing::runs},
    {"CorePauses",
     [](FlowFixture& flow) {
         nothingInstalled(flow);
         flow.core.on["more of the download"] = [&flow, isFirst = true]() mutable {
             if (std::exchange(isFirst, false)) {
                 flow.core.cancel->cancel();
             }
         };
     },
     Testing::runs},
};

using Step = bool (FlowModel::*)();

// What goes on by itself, the first that can. An opening takes longer than everything else.
using Pace = std::array<Step, 3>;
constexpr Pace paces[] = {{&FlowModel::pump, &FlowModel::resume, &FlowModel::completeOpen},
                          {&FlowModel::resume, &FlowModel::pump, &FlowModel::completeOpen}};

bool goOn(FlowModel& model, const Pace& pace) {
    return std::ranges::any_of(pace, [&](Step step) { return (model.*step)(); });
}

// Between two steps the main thread is idle, and the background is about to call the core.
struct Placed {
    std::size_t before; // this step of the flow
    Step action;
};

std::string describe(const std::vector<Placed>& placed) {
    std::string text = "what goes on by itself";
    for (const auto& [before, action] : placed) {
        const char* const name = action == &FlowModel::close   ? "close"
                                 : action == &FlowModel::press ? "press"
                                                               : "the opening ends";
        text += ", " + std::string(name) + " before step " + std::to_string(before);
    }
    return text;
}

std::vector<Step> possibleActions(const FlowFixture& flow) {
    std::vector<Step> actions = {&FlowModel::close};
    if (flow.canPress()) {
        actions.push_back(&FlowModel::press);
    }
    if (flow.host.opening() > 0) {
        actions.push_back(&FlowModel::completeOpen);
    }
    return actions;
}

// Every way to put user actions between the steps of a flow, up to a number of them.
class Exploration {
public:
    Exploration(const Scenario& scenario, const Pace& pace) : scenario_(scenario), pace_(pace) {}

    void explore(std::vector<Placed>& placed, std::size_t depth) {
        const auto possible = play(placed);
        if (placed.size() == depth) {
            return;
        }
        for (std::size_t before = placed.empty() ? 0 : placed.back().before; before < possible.size();
             ++before) {
            for (const Step action : possible[before]) {
                placed.push_back({before, action});
                explore(placed, depth);
                placed.pop_back();
            }
        }
    }

    [[nodiscard]] std::size_t tried() const { return tried_; }

private:
    // What the user could have done before each step of the flow, once what is placed there was done. Empty
    // when a rule is broken: one is enough.
    std::vector<std::vector<Step>> play(const std::vector<Placed>& placed) {
        SCOPED_TRACE(describe(placed));
        FlowFixture flow;
        scenario_.setUp(flow);
        FlowModel model(flow, scenario_.opening);
        model.launch();
        std::vector<std::vector<Step>> possible;
        auto next = placed.begin();
        do {
            for (; next != placed.end() && next->before == possible.size(); ++next) {
                EXPECT_TRUE((model.*next->action)());
            }
            if (model.hasEnded()) {
                break;
            }
            possible.push_back(possibleActions(flow));
        } while (!testing::Test::HasFailure() && goOn(model, pace_));
        model.expectAtRest();
        ++tried_;
        return testing::Test::HasFailure() ? decltype(possible){} : possible;
    }

    const Scenario& scenario_;
    const Pace& pace_;
    std::size_t tried_ = 0;
};

class FlowExplorationTest : public testing::TestWithParam<Scenario> {};

TEST_P(FlowExplorationTest, HoldsForUpToTwoUserActionsInAllPlaces) {
    constexpr std::size_t depth = 2;
    std::size_t tried = 0;
    for (const Pace& pace : paces) {
        Exploration exploration(GetParam(), pace);
        std::vector<Placed> placed;
        exploration.explore(placed, depth);
        tried += exploration.tried();
    }
    EXPECT_GT(tried, 20U);
    std::cout << tried << " interleavings\n";
}

TEST_P(FlowExplorationTest, HoldsForThreeUserActionsInSamplesOfAllOrders) {
    constexpr unsigned samples = 1000;
    for (unsigned seed = 0; seed < samples && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        FlowFixture flow;
        GetParam().setUp(flow);
        FlowModel model(flow, GetParam().opening);
        model.launch();
        std::size_t actionsLeft = 3;
        bool isMoving = true;
        while (isMoving && !model.hasEnded() && !HasFailure()) {
            Pace pace = paces[0];
            std::swap(pace[0], pace[random() % pace.size()]);
            isMoving = goOn(model, pace);
            if (actionsLeft > 0 && !model.hasEnded() && (!isMoving || random() % 16 == 0)) {
                const auto possible = possibleActions(flow);
                EXPECT_TRUE((model.*possible[random() % possible.size()])());
                --actionsLeft;
                isMoving = true;
            }
        }
        model.expectAtRest();
    }
    std::cout << samples << " samples\n";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FlowExplorationTest, testing::ValuesIn(scenarios),
                         [](const auto& scenario) { return scenario.param.name; });

} // namespace

} // namespace InstallerCore
