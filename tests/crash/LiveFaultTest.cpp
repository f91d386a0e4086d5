// SPDX-License-Identifier: Apache-2.0
//
// Failing calls and full disks while live settings are saved.
#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FullDisk.h"
#include "LiveTrial.h"

namespace {

using namespace crash;
using ::testing::IsEmpty;

constexpr int refused = 3;

bool isOneOf(std::optional<int> state, std::set<int> const& states) {
    return state && states.count(*state) != 0;
}

/** An application that opens live settings, saves with a fault, and saves again. */
class LiveFaults {
public:
    explicit LiveFaults(std::size_t size, bool hasLinks = true) : trial(size) {
        trial.setLinks(hasLinks);
        whole = attempt("count").recording;
        for (Event const& event : whole.events()) {
            if (event.isMark() && event.name == "begin")
                break;
            opening.push_back(event);
        }
        saving = whole.callsOf(ours);
        if (opening.empty() || saving.empty())
            throw std::runtime_error("the application does not work");
    }

    Outcome attempt(std::string const& plan) {
        return trial.attempt(plan, "save", trial.observed().string());
    }

    /** Makes a call of the start fail. Result: the problem, if any. */
    std::string failingAtTheStart(Event const& call, int error) {
        Outcome const run = attempt("fail " + std::to_string(call.call) + ' ' + std::to_string(error));
        if (run.exitedWith(refused))
            return trial.registerFile() == trial.bytesOf(opened) &&
                           trial.previousFile() == trial.bytesOf(kept)
                       ? ""
                       : "the unreadable files have changed";
        return run.exitedWith(0) ? afterwards(run, true) : "does not start";
    }

    /** Makes a call of the save fail. Result: the problem, if any. */
    std::string failing(Event const& call, int error) {
        Outcome const run = attempt("fail " + std::to_string(call.call) + ' ' + std::to_string(error));
        if (!run.exitedWith(0))
            return "the application fails";
        auto const failure = run.recording.failureOf(ours);
        auto const file = trial.stateOf(contentOf(trial.observed()));
        auto const previous = trial.stateOf(contentOf(trial.observed().string() + ".previous"));
        if (!failure && (file != ours || previous != theirs))
            return "not saved, but no failure is reported";
        if (failure && (failure->rfind(trial.directory().string(), 0) != 0 ||
                        failure->find(std::strerror(error)) == std::string::npos))
            return "the path or the reason is missing: " + *failure;
        if (!failure && isVital(call, error))
            return "no failure is reported";
        if (failure && file != (isMovedBefore(call) ? ours : theirs))
            return "wrong file";
        if (failure && !isOneOf(previous, {kept, theirs}))
            return "wrong previous file";
        return afterwards(run, file == ours);
    }

    /** Interrupts a call or makes it short. Result: the problem, if any. */
    std::string surviving(Event const& call, std::string const& plan) {
        Outcome const run = attempt(plan + ' ' + std::to_string(call.call) + " 4"); // EINTR
        if (!run.exitedWith(0) || run.recording.failureOf(ours))
            return "does not save";
        return afterwards(run, true);
    }

    /**
     * Checks that the next save and the next process work, keep the previous file and leave no other.
     * Result: the problem, if any.
     */
    std::string afterwards(Outcome const& run, bool isSaved) {
        if (auto const failure = run.recording.failureOf(further))
            return "the next save fails: " + *failure;
        if (trial.registerFile() != trial.bytesOf(further))
            return "the next save loses a change";
        if (trial.previousFile() != trial.bytesOf(isSaved ? ours : theirs))
            return "the next save does not keep the previous file";
        return trial.problem(Allowed(further, isSaved ? ours : theirs));
    }

    LiveTrial trial;
    Recording whole;
    std::vector<Event> opening;
    std::vector<Event> saving;

private:
    /** Whether the save must fail if this call fails. */
    [[nodiscard]] static bool isVital(Event const& call, int error) {
        static std::set<int> const withoutLinks = {EPERM, EXDEV, EMLINK, EOPNOTSUPP};
        return (call.is("link") && withoutLinks.count(error) == 0) || call.is("write") || call.is("sync") ||
               call.is("syncdir") || call.is("rename") || call.is("truncate") || call.is("create");
    }

    /** Whether the save has renamed its file before this call. */
    [[nodiscard]] bool isMovedBefore(Event const& call) const {
        for (Event const& other : saving)
            if (other.is("rename") && other.effect.at(2) == Trial::name)
                return other.call < call.call;
        return false;
    }
};

Problems failEachCall(LiveFaults& faults, int error) {
    Problems problems;
    auto const note = [&](Event const& call, std::string const& problem) {
        if (!problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
    };
    for (Event const& call : faults.opening)
        note(call, faults.failingAtTheStart(call, error));
    for (Event const& call : faults.saving)
        note(call, faults.failing(call, error));
    figure("faults injected into live settings",
           static_cast<long>(faults.opening.size() + faults.saving.size()));
    return problems;
}

using Error = std::pair<std::string, int>;

std::vector<Error> errors() {
    return {{"ENOSPC", ENOSPC}, {"EIO", EIO},     {"EDQUOT", EDQUOT}, {"EROFS", EROFS},
            {"EACCES", EACCES}, {"EPERM", EPERM}, {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}};
}

class LiveFailing : public ::testing::TestWithParam<Error> {};

TEST_P(LiveFailing, AtAnyCallLosesNothingAndIsReported) {
    LiveFaults faults(fewSectors);
    EXPECT_THAT(failEachCall(faults, GetParam().second), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(With, LiveFailing, ::testing::ValuesIn(errors()),
                         [](auto const& test) { return test.param.first; });

TEST(LiveFailingWithoutHardLinks, AtAnyCallLosesNothingAndIsReported) {
    LiveFaults faults(oneSector, false);
    for (auto const& [name, error] : errors()) {
        if (!isThorough() && error != ENOSPC)
            continue;
        EXPECT_THAT(failEachCall(faults, error), IsEmpty()) << name;
    }
}

TEST(LiveFailingPermanently, FromAnyCallOnLeavesTheOldFileOrTheNew) {
    LiveFaults faults(fewSectors);
    Problems problems;
    for (Event const& call : faults.saving) {
        Outcome const run = faults.trial.attempt(
            "fail-from " + std::to_string(call.call) + ' ' + std::to_string(EIO), "save");
        auto const left = faults.trial.stateOf(faults.trial.registerFile());
        auto const previous = faults.trial.stateOf(faults.trial.previousFile());
        std::string problem;
        if (!run.exitedWith(0))
            problem = "the application fails";
        else if (!isOneOf(left, {theirs, ours}))
            problem = "neither the old nor the new file";
        else if (!isOneOf(previous, {kept, theirs}))
            problem = "wrong previous file";
        else
            problem = faults.trial.problem(Allowed(left, previous));
        if (!problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
    }
    EXPECT_THAT(problems, IsEmpty());
    figure("faults injected into live settings", static_cast<long>(faults.saving.size()));
}

TEST(LiveInterrupted, AtAnyCallSaves) {
    LiveFaults faults(fewSectors);
    Problems problems;
    for (Event const& call : faults.saving)
        if (std::string const problem = faults.surviving(call, "fail"); !problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
    EXPECT_THAT(problems, IsEmpty());
    figure("faults injected into live settings", static_cast<long>(faults.saving.size()));
}

TEST(LiveShortTransfer, AtAnyCallSaves) {
    for (bool const hasLinks : {true, false}) {
        LiveFaults faults(manySectors, hasLinks);
        Problems problems;
        long tried = 0;
        for (Event const& call : faults.saving) {
            if (call.name != "read" && call.name != "write")
                continue;
            if (std::string const problem = faults.surviving(call, "short"); !problem.empty())
                problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
            ++tried;
        }
        EXPECT_THAT(problems, IsEmpty());
        EXPECT_GT(tried, 0);
        figure("faults injected into live settings", tried);
    }
}

/** Saves on a disk that `fill` has filled, and again with room. Result: whether the first save succeeded. */
bool saveInto(LiveTrial& trial, std::function<void()> const& fill) {
    trial.begin();
    trial.setTheirs(std::nullopt);
    fill();
    Outcome const run = trial.run("count", "save", opened);
    EXPECT_TRUE(run.exitedWith(0));
    auto const failure = run.recording.failureOf(opened + 1);
    auto const state = trial.stateOf(trial.registerFile());
    auto const previous = trial.stateOf(trial.previousFile());
    if (failure) {
        EXPECT_EQ(trial.directory().string() + "/Velmorand.dat: " + std::strerror(ENOSPC), *failure);
        EXPECT_EQ(opened, state);
        EXPECT_EQ(kept, previous);
    } else {
        EXPECT_EQ(opened + 1, state);
        EXPECT_EQ(opened, previous);
    }
    for (auto const& [name, bytes] : trial.files()) {
        bool const isBallast = name.find("ballast") == 0;
        EXPECT_TRUE(isBallast || name == Trial::name || name == Trial::previousName) << name;
        if (isBallast)
            std::filesystem::remove(trial.directory() / name);
    }
    EXPECT_EQ("", trial.problem(Allowed(state, previous)));
    return !failure;
}

TEST(LiveFullDisk, KeepsBothFilesUntilThereIsRoomForTheNew) {
    support::TemporaryDirectory const directory;
    finishFullDisk(support::withSmallDisk(directory.path(), "size=256k", [&] {
        LiveTrial trial(std::filesystem::canonical(directory.path()), 40'000);
        trial.bytesOf(opened + 1);
        trial.bytesOf(opened + 2);
        long pages = 0;
        for (bool isSaved = false; !isSaved; ++pages) {
            ASSERT_LT(pages, 30);
            isSaved = saveInto(trial, [&] { fillUp(trial.directory(), pages * page); });
        }
        EXPECT_GT(pages, 40'000 / page);
        figure("saves of live settings to a full disk", pages);
    }));
}

TEST(LiveFullDisk, KeepsBothFilesIfNoInodesAreLeft) {
    support::TemporaryDirectory const directory;
    for (int const left : {0, 1}) {
        finishFullDisk(support::withSmallDisk(directory.path(), "size=256k,nr_inodes=12", [&] {
            LiveTrial trial(std::filesystem::canonical(directory.path()), oneSector);
            trial.bytesOf(opened + 1);
            trial.bytesOf(opened + 2);
            EXPECT_FALSE(saveInto(trial, [&] {
                int number = 0;
                while (std::ofstream(trial.directory() / ("ballast" + std::to_string(number))))
                    ASSERT_LT(++number, 12);
                for (int i = 0; i < left; ++i)
                    std::filesystem::remove(trial.directory() / ("ballast" + std::to_string(i)));
            }));
        }));
    }
}

} // namespace
