// SPDX-License-Identifier: Apache-2.0
//
// Kills and power cuts while live settings are saved: a merge that replaces the file and keeps the previous one.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Disk.h"
#include "LiveTrial.h"
#include "support/TemporaryName.h"

namespace {

using namespace crash;
using ::testing::IsEmpty;

/**
 * Kills the application before and after each of its calls, and checks the result with a new process. `begin` restores
 * the initial content of the directory. Result: the problems.
 */
template <class Begin>
Problems killAtEachCall(LiveTrial& trial, Begin&& begin, std::optional<int> initial, std::string const& mode,
                        std::string const& more = {}) {
    int const state = initial.value_or(0);
    begin();
    auto const previous = trial.stateOf(trial.previousFile());
    Outcome const whole = trial.run("count", mode, state, more);
    if (!whole.exitedWith(0) || whole.recording.calls() == 0)
        throw std::runtime_error("the application does not work");
    Problems problems;
    long points = 0;
    for (long call = 1; call <= whole.recording.calls(); ++call) {
        for (std::string const when : {"kill-before ", "kill-after "}) {
            begin();
            std::string const plan = when + std::to_string(call);
            Outcome const run = trial.run(plan, mode, state, more);
            // The background thread may make fewer calls than in the other run.
            if (!run.wasKilled() && !(mode == "worker" && run.exitedWith(0)))
                throw std::runtime_error(plan + " killed nothing");
            std::string const problem = trial.problem(Allowed(initial, run.recording, previous));
            if (!problem.empty())
                problems.push_back(std::string(plan).append(": ").append(problem));
            ++points;
        }
    }
    figure("kill points of live settings tried", points);
    return problems;
}

Problems killAtEachCall(LiveTrial& trial, std::string const& mode, std::string const& more = {}) {
    return killAtEachCall(
        trial, [&] { trial.begin(); }, opened, mode, more);
}

class LiveKill : public ::testing::TestWithParam<std::string> {};

TEST_P(LiveKill, AtAnyCallLosesNothing) {
    LiveTrial trial(oneSector);
    EXPECT_THAT(killAtEachCall(trial, GetParam()), IsEmpty());
    if (!isThorough())
        return;
    LiveTrial large(manySectors);
    EXPECT_THAT(killAtEachCall(large, GetParam(), GetParam() == "save" ? large.observed().string() : ""),
                IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(InMode, LiveKill, ::testing::Values("save", "end", "exit", "worker"),
                         NameOfManner());

TEST(LiveKillWithoutHardLinks, AtAnyCallLosesNothing) {
    LiveTrial trial(oneSector);
    trial.setLinks(false);
    for (std::string const mode : {"save", "end", "exit", "worker"}) {
        if (!isThorough() && mode != "save")
            continue;
        EXPECT_THAT(killAtEachCall(trial, mode), IsEmpty()) << mode;
    }
}

TEST(LiveKillOfTheFirstSave, LeavesNoFileOrAnIntactOne) {
    LiveTrial trial(fewSectors);
    trial.setTheirs(std::nullopt);
    trial.bytesOf(1);
    EXPECT_THAT(killAtEachCall(
                    trial, [&] { trial.reset(Files{}); }, std::nullopt, "save"),
                IsEmpty());
}

TEST(LiveKillOfTheFirstSave, WhileItsDirectoryIsCreatedLosesNothing) {
    LiveTrial trial(oneSector);
    trial.setTheirs(std::nullopt);
    trial.bytesOf(1);
    EXPECT_THAT(killAtEachCall(
                    trial, [&] { std::filesystem::remove_all(trial.directory()); }, std::nullopt, "save"),
                IsEmpty());
}

TEST(LiveKillWhileLeftoversAreCleared, LosesNothing) {
    LiveTrial trial(oneSector);
    auto const begin = [&] {
        trial.begin();
        // The leftovers of a killed save: an incomplete temporary file, and a second link to the file.
        Files files = trial.files();
        files[support::temporaryName(Trial::name)] = trial.bytesOf(ours).substr(0, 100);
        trial.reset(files);
        std::filesystem::create_hard_link(trial.directory() / Trial::name,
                                          trial.directory() /
                                              support::temporaryName(Trial::name, "00000000"));
    };
    EXPECT_THAT(killAtEachCall(trial, begin, opened, "save"), IsEmpty());
}

class LiveSaves : public ::testing::TestWithParam<std::string> {};

// Another program saves while this one is stopped before a call: the changes of both must be kept.
TEST_P(LiveSaves, OfTwoProgramsAtOnceLoseNoChanges) {
    LiveTrial trial(oneSector);
    trial.setTheirs(std::nullopt);
    long const calls = trial.attempt("count", GetParam()).recording.calls();
    ASSERT_GT(calls, 0);
    Trial other(trial.directory(), oneSector, "live");
    Problems problems;
    for (long call = 1; call <= calls; ++call) {
        std::string const plan = "stop-before " + std::to_string(call);
        trial.begin();
        auto const [mine, others] = trial.runBeside(plan, GetParam(), other, "theirs", opened);
        if (!mine.exitedWith(0) || !others.exitedWith(0))
            problems.push_back(plan + ": not saved");
        else if (trial.registerFile() != trial.bytesOf(ours))
            problems.push_back(plan + ": a change is lost");
        else if (trial.files().size() != 2)
            problems.push_back(plan + ": unexpected files remain");
    }
    EXPECT_THAT(problems, IsEmpty());
    figure("saves of live settings with another one between two calls", calls);
}

INSTANTIATE_TEST_SUITE_P(InMode, LiveSaves, ::testing::Values("save", "end", "exit"), NameOfManner());

/** A recorded run of the application, to be replayed on the weak disk. */
class LiveRecorded {
public:
    LiveRecorded(LiveTrial& trial, std::string const& plan, std::string const& mode,
                 std::string const& more = {})
        : beginning((trial.begin(), trial.directory())), run(trial.run(plan, mode, opened, more)),
          _trial(trial) {}

    /** Replays the recording with power cuts. */
    Findings replayed(long limit, long skipped = 0,
                      std::function<void(Disk::State const&, Allowed const&)> const& distinct = {}) {
        return replay(run.recording, beginning, _trial, opened, limit, skipped, distinct);
    }

    Disk::Beginning beginning;
    Outcome run;

private:
    LiveTrial& _trial;
};

constexpr long everyState = 200'000; // more than the number of states

/** Result: the number of power cuts of which not every state was tried. */
long expectNothingLost(LiveTrial& trial, std::string const& mode, long limit) {
    LiveRecorded recorded(trial, "record", mode, mode == "save" ? trial.observed().string() : "");
    EXPECT_TRUE(recorded.run.exitedWith(0));
    long loaded = 0;
    Findings const findings =
        recorded.replayed(limit, 0, [&](Disk::State const& state, Allowed const& allowed) {
            Files files;
            for (auto const& [name, bytes] : state)
                if (bytes != nullptr)
                    files[name] = *bytes;
            trial.reset(files);
            EXPECT_EQ("", trial.problem(allowed));
            ++loaded;
        });
    EXPECT_EQ(0, findings.forbidden) << findings.first;
    EXPECT_GT(loaded, 1);
    EXPECT_GT(findings.states, findings.crashPoints);
    figure("power cuts of live settings replayed", findings.crashPoints);
    figure("disk states of live settings replayed", findings.states);
    figure("of them loaded by a fresh process with live settings, all that differ for it", loaded);
    return findings.sampled;
}

class LivePowerCut : public ::testing::TestWithParam<std::string> {};

TEST_P(LivePowerCut, AtAnyTimeLosesNothing) {
    LiveTrial trial(isThorough() ? 5'000 : fewSectors);
    EXPECT_EQ(0, expectNothingLost(trial, GetParam(), everyState));
}

TEST_P(LivePowerCut, WithoutHardLinksLosesNothing) {
    LiveTrial trial(oneSector);
    trial.setLinks(false);
    EXPECT_EQ(0, expectNothingLost(trial, GetParam(), everyState));
}

INSTANTIATE_TEST_SUITE_P(InMode, LivePowerCut, ::testing::Values("save", "end", "exit", "worker"),
                         NameOfManner());

TEST(LivePowerCutWithLargeFiles, LosesNothing) {
    LiveTrial trial(manySectors);
    expectNothingLost(trial, "save", isThorough() ? 5'000 : 300);
}

/** Settings that were acknowledged after a fault must be durable. */
TEST(LivePowerCutAfterAFault, LosesNothingThatTheNextAttemptSaved) {
    LiveTrial trial(oneSector);
    auto const calls = trial.attempt("count", "retry").recording.callsOf(ours);
    ASSERT_FALSE(calls.empty());
    Problems problems;
    long tried = 0;
    for (Event const& call : calls) {
        LiveRecorded recorded(trial, "fail " + std::to_string(call.call) + " 5", "retry"); // EIO
        std::string const name = std::to_string(call.call) + ' ' + call.name;
        if (!recorded.run.exitedWith(0))
            problems.push_back(name + ": never saved");
        else if (Findings const findings = recorded.replayed(everyState); findings.forbidden != 0)
            problems.push_back(name + ": " + findings.first);
        ++tried;
    }
    EXPECT_THAT(problems, IsEmpty());
    figure("faults of live settings with a power cut after them", tried);
}

TEST(LivePowerCutReplay, EndsWithTheActualFiles) {
    for (bool const hasLinks : {true, false}) {
        LiveTrial trial(manySectors);
        trial.setLinks(hasLinks);
        LiveRecorded const recorded(trial, "record", "save", trial.observed().string());
        Disk disk(recorded.beginning);
        for (Event const& event : recorded.run.recording.events())
            if (!event.isMark())
                disk.apply(event);
        EXPECT_EQ(trial.files(), disk.present());
    }
}

void expectEachMissingIsNoticed(std::string const& what) {
    LiveTrial trial(oneSector);
    LiveRecorded recorded(trial, "record", "save", trial.observed().string());
    long tried = 0;
    for (int const state : {ours, further})
        for (Event const& call : recorded.run.recording.callsOf(state))
            if (call.is(what)) {
                EXPECT_GT(recorded.replayed(everyState, call.call).forbidden, 0) << call.call;
                ++tried;
            }
    EXPECT_EQ(2, tried);
}

TEST(LivePowerCutReplay, NoticesEachMissingSyncOfTheFile) {
    expectEachMissingIsNoticed("sync");
}

TEST(LivePowerCutReplay, NoticesEachMissingSyncOfTheDirectory) {
    expectEachMissingIsNoticed("syncdir");
}

} // namespace
