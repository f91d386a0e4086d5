// SPDX-License-Identifier: Apache-2.0
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FullDisk.h"
#include "Trial.h"

namespace {

using namespace crash;
using support::withSmallDisk;

/** Saves state 2 over state 1, and then state 3 with room again. Result: the state after the first save. */
std::optional<int> saveInto(Trial& trial, std::function<void()> const& fill) {
    trial.reset(1);
    for (int const state : {1, 2, 3})
        trial.bytesOf(state);
    fill();
    EXPECT_TRUE(trial.run("", "save", 1).exitedWith(0));
    auto const state = trial.stateOf(trial.registerFile());
    for (auto const& [name, bytes] : trial.files()) {
        EXPECT_TRUE(name == Trial::name || name.find("ballast") == 0) << name;
        if (name != Trial::name)
            std::filesystem::remove(trial.directory() / name);
    }
    EXPECT_EQ("", trial.problem(Allowed(state)));
    return state;
}

TEST(FullDisk, KeepsTheOldFileUntilThereIsRoomForTheNew) {
    support::TemporaryDirectory const directory;
    finishFullDisk(withSmallDisk(directory.path(), "size=256k", [&] {
        Trial trial(std::filesystem::canonical(directory.path()), 40'000);
        long failed = 0;
        long pages = 0;
        for (bool isSaved = false; !isSaved; ++pages) {
            ASSERT_LT(pages, 30);
            auto const state = saveInto(trial, [&] { fillUp(trial.directory(), pages * page); });
            isSaved = state == 2;
            EXPECT_TRUE(isSaved || state == 1) << pages;
            failed += isSaved ? 0 : 1;
        }
        EXPECT_GE(failed, 40'000 / page);
        figure("saves to a full disk", pages);
    }));
}

TEST(FullDisk, KeepsTheOldFileIfNoInodesAreLeft) {
    support::TemporaryDirectory const directory;
    finishFullDisk(withSmallDisk(directory.path(), "size=256k,nr_inodes=12", [&] {
        Trial trial(std::filesystem::canonical(directory.path()), oneSector);
        auto const state = saveInto(trial, [&] {
            for (int i = 0; std::ofstream(trial.directory() / ("ballast" + std::to_string(i))); ++i)
                ASSERT_LT(i, 12);
        });
        EXPECT_EQ(1, state);
    }));
}

} // namespace
