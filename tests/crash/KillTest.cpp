// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Harness.h"
#include "Trial.h"
#include "support/TemporaryName.h"

namespace {

using namespace crash;
using ::testing::IsEmpty;
using ::testing::Not;

using Problems = std::vector<std::string>;

/**
 * Kills the application before and after each of its calls, and checks the result with a new process.
 * Result: the problems. `beginning` is the initial content of the directory, in state `initial`.
 */
Problems killAtEachCall(Trial& trial, Files const& beginning, std::optional<int> initial,
                        std::string const& mode, std::string const& more = {}) {
    Problems problems;
    trial.reset(beginning);
    Outcome const whole = trial.run("count", mode, initial.value_or(0), more);
    if (!whole.exitedWith(0) || whole.recording.calls() == 0)
        throw std::runtime_error("the application does not work");
    // Other ways to save are used for one save only.
    auto const other = whole.recording.callsOf(2);
    long const first = trial.isOfRegister() ? 1 : other.front().call;
    long const last = trial.isOfRegister() ? whole.recording.calls() : other.back().call;
    long points = 0;
    for (long call = first; call <= last; ++call) {
        for (std::string const when : {"kill-before ", "kill-after "}) {
            trial.reset(beginning);
            std::string const plan = when + std::to_string(call);
            Outcome const run = trial.run(plan, mode, initial.value_or(0), more);
            if (!run.wasKilled())
                throw std::runtime_error(plan + " killed nothing");
            std::string const problem = trial.problem(Allowed(initial, run.recording));
            if (!problem.empty())
                problems.push_back(std::string(plan).append(": ").append(problem));
            ++points;
        }
    }
    if (trial.isOfRegister())
        figure("kill points tried", points);
    return problems;
}

Problems killAtEachCall(Trial& trial, std::optional<int> initial, std::string const& mode,
                        std::string const& more = {}) {
    return killAtEachCall(trial, initial ? Files{{Trial::name, trial.bytesOf(*initial)}} : Files{}, initial,
                          mode, more);
}

TEST(Kill, AtAnyCallOfASaveLeavesTheOldFileOrTheNew) {
    Trial trial(fewSectors);
    EXPECT_THAT(killAtEachCall(trial, 1, "save"), IsEmpty());
}

TEST(Kill, AtAnyCallOfTheFirstSaveLeavesNoFileOrAnIntactOne) {
    Trial trial(fewSectors);
    EXPECT_THAT(killAtEachCall(trial, std::nullopt, "save"), IsEmpty());
}

TEST(Kill, AtAnyCallOfALargeSaveLeavesTheOldFileOrTheNew) {
    Trial trial(manySectors);
    EXPECT_THAT(killAtEachCall(trial, 1, "save"), IsEmpty());
}

TEST(Kill, AtAnyCallOfARunLeavesTheLastSaveOrTheCurrentOne) {
    Trial trial(oneSector);
    EXPECT_THAT(killAtEachCall(trial, 1, "run", isThorough() ? "10" : "2"), IsEmpty());
    if (!isThorough())
        return;
    Trial large(manySectors);
    EXPECT_THAT(killAtEachCall(large, 1, "run", "10"), IsEmpty());
}

TEST(Kill, WhileTheFilesOfAnEarlierKillAreRemovedLosesNothing) {
    Trial trial(fewSectors);
    std::string const half = trial.bytesOf(2).substr(0, 1000);
    EXPECT_THAT(killAtEachCall(trial,
                               {{Trial::name, trial.bytesOf(1)},
                                {support::temporaryName(Trial::name), half},
                                {support::temporaryName(Trial::name, "00000000"), ""}},
                               1, "save"),
                IsEmpty());
}

class KillOf : public ::testing::TestWithParam<std::string> {};

TEST_P(KillOf, IsNoticed) {
    Trial trial(fewSectors, GetParam());
    EXPECT_THAT(killAtEachCall(trial, 1, "save"), Not(IsEmpty()));
}

INSTANTIATE_TEST_SUITE_P(SavingCarelessly, KillOf, ::testing::Values("direct", "removing-first", "littering"),
                         NameOfManner());

TEST(SavingCarefully, PassesIfKilledAtAnyCall) {
    Trial trial(fewSectors, "careful");
    EXPECT_THAT(killAtEachCall(trial, 1, "save"), IsEmpty());
}

} // namespace
