// SPDX-License-Identifier: Apache-2.0
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Harness.h"
#include "Trial.h"

namespace {

using namespace crash;
using std::chrono::microseconds;
using std::chrono::steady_clock;

/** The time that the application takes to start and save for the first time. */
microseconds startingTime(Trial& trial) {
    auto const begin = steady_clock::now();
    EXPECT_TRUE(trial.run("", "save", 1).exitedWith(0));
    return std::chrono::duration_cast<microseconds>(steady_clock::now() - begin);
}

// An application that saves continuously is killed CRASH_ROUNDS times, after random delays with the seed CRASH_SEED.
// Each round starts with the files that the previous one has left.
TEST(Soak, OfRandomKillsLeavesTheLastSaveOrTheCurrentOne) {
    long const rounds = number("CRASH_ROUNDS", 40);
    std::mt19937 chance(static_cast<unsigned>(number("CRASH_SEED", 1)));
    Trial trial(oneSector);
    trial.reset(1);
    auto const longest = 2 * startingTime(trial);
    std::optional<int> state = 2;
    long duringSaves = 0;
    long saves = 0;
    for (long round = 1; round <= rounds; ++round) {
        std::size_t const sizes[] = {oneSector, fewSectors, manySectors};
        trial.setSize(sizes[chance() % 3]);
        microseconds const delay(static_cast<long>(chance() % static_cast<unsigned long>(longest.count())));
        Outcome const run = trial.killAfter(delay, "loop", *state);
        ASSERT_TRUE(run.wasKilled()) << "round " << round;
        Allowed const allowed(state, run.recording);
        duringSaves += allowed.underWay() ? 1 : 0;
        saves += *allowed.finished() - *state;
        ASSERT_EQ("", trial.problem(allowed, &state)) << "round " << round;
        if (round % 1000 == 0)
            std::cout << round << " rounds" << std::endl;
    }
    EXPECT_GT(saves, 0);
    EXPECT_TRUE(duringSaves > 0 || !isThorough()) << "no kill during a save";
    figure("soak rounds", rounds);
    figure("of them killed during a save", duringSaves);
    figure("saves finished in them", saves);
}

} // namespace
