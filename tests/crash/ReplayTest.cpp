// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Disk.h"
#include "Harness.h"

namespace {

using namespace crash;

/** A recorded run of the application, which can be replayed on the weak disk repeatedly. */
class Recorded {
public:
    Recorded(std::size_t size, std::optional<int> from, std::string const& mode,
             std::string const& manner = "register")
        : trial(size, manner), initial(from), beginning((trial.reset(from), trial.directory())),
          run(trial.run("record", mode, from.value_or(0), mode == "run" ? isThorough() ? "10" : "2" : "")) {
        end = trial.files();
    }

    Findings replayed(long limit, long skipped = 0) {
        return replay(run.recording, beginning, trial, initial, limit, skipped);
    }

    /** The calls of further saves that flush the file ("sync") or the directory ("syncdir"). */
    [[nodiscard]] std::vector<long> syncs(std::string const& what) const {
        std::vector<long> calls;
        for (Event const& event : run.recording.events())
            if (event.isMark() && event.name == "begin" && event.state > initial.value_or(0))
                for (Event const& call : run.recording.callsOf(event.state))
                    if (call.is(what))
                        calls.push_back(call.call);
        return calls;
    }

    Trial trial;
    std::optional<int> initial;
    Disk::Beginning beginning;
    Outcome run;
    Files end;
};

constexpr long everyState = 100'000; // more than the number of states

/**
 * Replays a run. A new process also loads each state that differs for a process, saves and cleans up.
 * Result: the number of power cuts of which not every state was tried.
 */
long expectNothingLost(Recorded& recorded, long limit) {
    EXPECT_TRUE(recorded.run.exitedWith(0));
    Trial fresh(oneSector);
    long loaded = 0;
    Findings const findings =
        replay(recorded.run.recording, recorded.beginning, recorded.trial, recorded.initial, limit, 0,
               [&](Disk::State const& state, Allowed const& allowed) {
                   Files files;
                   for (auto const& [name, bytes] : state)
                       if (bytes != nullptr)
                           files[name] = *bytes;
                   fresh.reset(files);
                   EXPECT_EQ("", fresh.problem(allowed));
                   ++loaded;
               });
    EXPECT_EQ(0, findings.forbidden) << findings.first;
    EXPECT_GT(loaded, 1);
    EXPECT_GT(findings.states, findings.crashPoints);
    figure("power cuts replayed", findings.crashPoints);
    figure("disk states replayed", findings.states);
    figure("of them loaded by a fresh process, all that differ for it", loaded);
    return findings.sampled;
}

TEST(PowerCut, DuringARunLeavesTheLastSaveOrTheCurrentOne) {
    Recorded recorded(isThorough() ? moreSectors : fewSectors, 1, "run");
    EXPECT_EQ(0, expectNothingLost(recorded, everyState));
}

TEST(PowerCut, DuringTheFirstRunLeavesTheLastSaveOrTheCurrentOne) {
    Recorded recorded(isThorough() ? moreSectors : fewSectors, std::nullopt, "run");
    EXPECT_EQ(0, expectNothingLost(recorded, everyState));
}

TEST(PowerCut, DuringARunWithLargeFilesLeavesTheLastSaveOrTheCurrentOne) {
    Recorded recorded(manySectors, 1, "run");
    expectNothingLost(recorded, isThorough() ? 5'000 : 300);
}

TEST(PowerCutReplay, EndsWithTheActualFiles) {
    Recorded const recorded(manySectors, 1, "run");
    Disk disk(recorded.beginning);
    for (Event const& event : recorded.run.recording.events())
        if (!event.isMark())
            disk.apply(event);
    EXPECT_EQ(recorded.end, disk.present());
}

void expectEachMissingIsNoticed(std::string const& what) {
    Recorded recorded(fewSectors, 1, "run");
    auto const syncs = recorded.syncs(what);
    EXPECT_EQ(isThorough() ? 11U : 3U, syncs.size());
    for (long const sync : syncs)
        EXPECT_GT(recorded.replayed(everyState, sync).forbidden, 0) << sync;
}

TEST(PowerCutReplay, NoticesEachMissingSyncOfTheFile) {
    expectEachMissingIsNoticed("sync");
}

// Settings must survive a power cut after their save has returned.
TEST(PowerCutReplay, NoticesEachMissingSyncOfTheDirectory) {
    expectEachMissingIsNoticed("syncdir");
}

TEST(PowerCutReplay, NoticesAMissingSyncOfALargeFile) {
    Recorded recorded(manySectors, 1, "save");
    auto const syncs = recorded.syncs("sync");
    ASSERT_EQ(1U, syncs.size());
    EXPECT_GT(recorded.replayed(300, syncs[0]).forbidden, 0);
}

class PowerCutOf : public ::testing::TestWithParam<std::string> {};

TEST_P(PowerCutOf, IsNoticed) {
    Recorded recorded(fewSectors, 1, "save", GetParam());
    ASSERT_TRUE(recorded.run.exitedWith(0));
    EXPECT_GT(recorded.replayed(everyState).forbidden, 0);
}

INSTANTIATE_TEST_SUITE_P(SavingCarelessly, PowerCutOf,
                         ::testing::Values("direct", "removing-first", "unsynced", "directory-unsynced"),
                         NameOfManner());

TEST(SavingCarefully, PassesInAPowerCut) {
    Recorded recorded(fewSectors, 1, "save", "careful");
    ASSERT_TRUE(recorded.run.exitedWith(0));
    Findings const findings = recorded.replayed(everyState);
    EXPECT_EQ(0, findings.forbidden) << findings.first;
    EXPECT_EQ(0, findings.sampled);
}

// The weak disk itself, with recordings made by hand.

class WeakDisk : public ::testing::Test {
protected:
    WeakDisk() { trial.reset(Files{{"f", "old"}}); }

    /** The states after some calls, as text: "f=old g=-". */
    std::set<std::string> after(std::vector<std::string> const& effects) {
        Disk::Beginning const beginning(trial.directory());
        std::string log;
        for (std::string effect : effects) {
            auto const inode = effect.find("OLD");
            if (inode != std::string::npos)
                effect.replace(inode, 3, beginning.inodes.at("f"));
            log += "call 1 x " + effect + '\n';
        }
        Disk disk(beginning);
        Recording const recording(log);
        for (Event const& event : recording.events())
            disk.apply(event);
        std::set<std::string> states;
        std::mt19937 chance(1);
        auto const shown = disk.forEachState(everyState, chance, [&](Disk::State const& state) {
            std::string text;
            for (auto const& [name, bytes] : state)
                text += (text.empty() ? "" : " ") + name + '=' + (bytes != nullptr ? *bytes : "-");
            states.insert(text);
        });
        EXPECT_TRUE(shown.isAll);
        return states;
    }

    Trial trial{oneSector};
};

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

TEST_F(WeakDisk, LosesAWriteOrItsLengthUntilTheFileIsFlushed) {
    EXPECT_THAT(after({"write OLD 2 4142"}), // "olAB"
                UnorderedElementsAre("f=old", std::string("f=old\0", 6), "f=olA", "f=olAB"));
    EXPECT_THAT(after({"write OLD 2 4142", "sync OLD"}), ElementsAre("f=olAB"));
}

TEST_F(WeakDisk, TearsAWriteBetweenSectors) {
    std::string const both = "f=" + std::string(512, 'A') + "A";
    std::string torn = both;
    torn.replace(2, 512, "old" + std::string(509, '\0'));
    std::string hex;
    for (int i = 0; i < 513; ++i)
        hex += "41";
    auto const states = after({"write OLD 0 " + hex});
    EXPECT_THAT(states, ::testing::IsSupersetOf({both, torn, std::string("f=old")}));
    EXPECT_EQ(8U, states.size()); // 2 of 3 bytes, 2 of 512, 4 of 513
}

TEST_F(WeakDisk, ReportsWhenItShowsOnlySomeStates) {
    Disk disk{Disk::Beginning(trial.directory())};
    Recording const recording("call 1 x create g 1\ncall 2 x write 1 0 41\n");
    for (Event const& event : recording.events())
        disk.apply(event);
    std::mt19937 chance(1);
    auto const ignore = [](Disk::State const&) {};
    EXPECT_TRUE(disk.forEachState(4, chance, ignore).isAll); // "g" is missing, empty, "\0" or "A"
    EXPECT_FALSE(disk.forEachState(3, chance, ignore).isAll);
}

TEST_F(WeakDisk, LosesANameUntilTheDirectoryIsFlushed) {
    EXPECT_THAT(after({"create g 1", "sync 1"}), ElementsAre("f=old g=", "f=old g=-"));
    EXPECT_THAT(after({"create g 1", "syncdir ."}), ElementsAre("f=old g="));
}

TEST_F(WeakDisk, LosesNothingOnceTheFileSystemIsFlushed) {
    EXPECT_THAT(after({"create g 1", "write 1 0 41", "rename g f", "syncfs"}), ElementsAre("f=A g=-"));
}

TEST_F(WeakDisk, MayMakeARenameDurableBeforeTheContent) {
    auto const states = after({"create g 1", "write 1 0 41", "rename g f"});
    EXPECT_THAT(states, ::testing::IsSupersetOf({"f= g=-", "f=A g=-", "f=old g=A"}));
    EXPECT_THAT(after({"create g 1", "write 1 0 41", "sync 1", "rename g f", "syncdir ."}),
                ElementsAre("f=A g=-"));
}

TEST_F(WeakDisk, IgnoresARenameBetweenTwoNamesOfTheSameFile) {
    EXPECT_THAT(after({"link f g", "rename g f", "syncdir ."}), ElementsAre("f=old g=old"));
}

TEST_F(WeakDisk, RemovesAFileAtAnyTimeUntilTheDirectoryIsFlushed) {
    EXPECT_THAT(after({"unlink f"}), ElementsAre("f=-", "f=old"));
    EXPECT_THAT(after({"unlink f", "syncdir ."}), ElementsAre("f=-"));
}

} // namespace
