// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <set>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Harness.h"
#include "Trial.h"

namespace {

using namespace crash;
using ::testing::IsEmpty;
using ::testing::Not;

using Problems = std::vector<std::string>;

constexpr int refused = 3;

bool isOldOrNew(std::optional<int> state) {
    return state && (*state == 1 || *state == 2);
}

/** An application that starts in state 1, saves state 2 with a fault, and then saves state 3. */
class Faults {
public:
    explicit Faults(std::size_t size, std::string const& manner = "register") : trial(size, manner) {
        for (int const state : {1, 2, 3})
            trial.bytesOf(state);
        whole = attempt("count").recording;
        for (Event const& event : whole.events()) {
            if (event.isMark() && event.name == "end" && event.state == 2)
                break;
            if (!event.isMark())
                calls.push_back(event);
        }
        if (calls.empty())
            throw std::runtime_error("the application does not work");
    }

    Outcome attempt(std::string const& plan) {
        trial.reset(1);
        return trial.run(plan, "save", 1, trial.observed().string());
    }

    [[nodiscard]] bool isIn(int state, Event const& call) const {
        for (Event const& other : whole.callsOf(state))
            if (other.call == call.call)
                return true;
        return false;
    }

    /** Whether the save has renamed its file before this call. */
    [[nodiscard]] bool isMovedBefore(Event const& call) const {
        for (Event const& other : whole.callsOf(2))
            if (other.is("rename"))
                return other.call < call.call;
        return false;
    }

    /** Makes a call fail. Result: the problem, if any. */
    std::string failing(Event const& call, int error) {
        Outcome const run = attempt("fail " + std::to_string(call.call) + ' ' + std::to_string(error));
        if (run.exitedWith(refused) && !isIn(2, call)) // it could not load
            return trial.registerFile() == trial.bytesOf(1) ? "" : "the unreadable file has changed";
        auto const saved = savedIn(run);
        bool const isVital = call.is("write") || call.is("sync") || call.is("rename") || call.is("truncate");
        if (!isIn(2, call))
            return saved != 2 ? "a later save is missing" : afterwards();
        if (isMovedBefore(call) && saved != 2)
            return "the new file is missing";
        if (!isMovedBefore(call) && isVital && saved != 1)
            return "the old file is missing";
        return isOldOrNew(saved) ? afterwards() : "neither the old nor the new file";
    }

    /** Interrupts a call or makes it short. Result: the problem, if any. */
    std::string surviving(Event const& call, std::string const& plan) {
        Outcome const run = attempt(plan + ' ' + std::to_string(call.call) + " 4"); // EINTR
        if (!run.exitedWith(0))
            return "does not start";
        return savedIn(run) != 2 ? "does not save" : afterwards();
    }

    /** The state of the file after the save with the fault. */
    [[nodiscard]] std::optional<int> savedIn(Outcome const& run) const {
        return run.exitedWith(0) ? trial.stateOf(contentOf(trial.observed())) : -1;
    }

    /** Checks that the next save and the next process work. Result: the problem, if any. */
    std::string afterwards() {
        if (trial.registerFile() != trial.bytesOf(3))
            return "the next save fails";
        return trial.problem(Allowed(3));
    }

    Trial trial;
    Recording whole;
    std::vector<Event> calls; // of the start and the first save
};

/** Whether a signal may interrupt a call. */
bool isInterruptible(Event const& call) {
    static std::set<std::string> const names = {"open",   "close",  "read",     "write",    "sync",  "access",
                                                "stat",   "chmod",  "chown",    "flock",    "fcntl", "link",
                                                "rename", "unlink", "readlink", "truncate", "xattr"};
    return names.count(call.name) != 0;
}

bool isTransfer(Event const& call) {
    return call.name == "read" || call.name == "write";
}

Problems failEachCall(Faults& faults, int error) {
    Problems problems;
    for (Event const& call : faults.calls) {
        std::string const problem = faults.failing(call, error);
        if (!problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
    }
    if (faults.trial.isOfRegister())
        figure("faults injected", static_cast<long>(faults.calls.size()));
    return problems;
}

Problems disturbEachCall(Faults& faults, std::string const& plan, bool (*isMeant)(Event const&)) {
    Problems problems;
    long tried = 0;
    for (Event const& call : faults.calls) {
        if (!isMeant(call))
            continue;
        std::string const problem = faults.surviving(call, plan);
        if (!problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
        ++tried;
    }
    EXPECT_GT(tried, 0);
    if (faults.trial.isOfRegister())
        figure("faults injected", tried);
    return problems;
}

using Error = std::pair<std::string, int>;

class Failing : public ::testing::TestWithParam<Error> {};

TEST_P(Failing, AtAnyCallLeavesTheOldFileOrTheNew) {
    Faults faults(fewSectors);
    EXPECT_THAT(failEachCall(faults, GetParam().second), IsEmpty());
}

TEST_P(Failing, AtAnyCallOfARunLosesOnlyThatSave) {
    Trial trial(fewSectors);
    trial.reset(1);
    Recording const whole = trial.run("count", "run", 1, "2").recording; // the exit saves state 4
    ASSERT_FALSE(whole.callsOf(4).empty());
    Problems problems;
    long tried = 0;
    for (long call = 1; call <= whole.calls(); call += isThorough() ? 1 : 7) {
        trial.reset(1);
        Outcome const run = trial.run(
            "fail " + std::to_string(call) + ' ' + std::to_string(GetParam().second), "run", 1, "2");
        trial.bytesOf(3);
        trial.bytesOf(4);
        bool const isOfTheLast = call >= whole.callsOf(4).front().call;
        auto const state = trial.stateOf(trial.registerFile());
        bool const isRight = run.exitedWith(refused) ? state == 1 : state == 4 || (isOfTheLast && state == 3);
        std::string const problem = isRight ? trial.problem(Allowed(state)) : "not the last file";
        if (!problem.empty())
            problems.push_back(std::to_string(call) + ": " + problem);
        ++tried;
    }
    EXPECT_THAT(problems, IsEmpty());
    EXPECT_GT(tried, 0);
    figure("faults injected", tried);
}

INSTANTIATE_TEST_SUITE_P(With, Failing,
                         ::testing::Values(Error("ENOSPC", ENOSPC), Error("EIO", EIO),
                                           Error("EDQUOT", EDQUOT), Error("EROFS", EROFS),
                                           Error("EACCES", EACCES)),
                         [](auto const& test) { return test.param.first; });

// A process cannot save on a failed disk, but must not damage the file.
TEST(FailingPermanently, FromAnyCallOnLeavesTheOldFileOrTheNew) {
    Faults faults(fewSectors);
    Problems problems;
    for (Event const& call : faults.calls) {
        Outcome const run =
            faults.attempt("fail-from " + std::to_string(call.call) + ' ' + std::to_string(EIO));
        auto const left = faults.trial.stateOf(faults.trial.registerFile());
        std::string problem;
        if (!run.exitedWith(0) && !run.exitedWith(refused))
            problem = "exits neither normally nor because it cannot load";
        else if (!isOldOrNew(left))
            problem = "neither the old nor the new file";
        else
            problem = faults.trial.problem(Allowed(left));
        if (!problem.empty())
            problems.push_back(std::to_string(call.call) + ' ' + call.name + ": " + problem);
    }
    EXPECT_THAT(problems, IsEmpty());
    figure("faults injected", static_cast<long>(faults.calls.size()));
}

TEST(Interrupted, AtAnyCallLoadsAndSaves) {
    Faults faults(fewSectors);
    EXPECT_THAT(disturbEachCall(faults, "fail", isInterruptible), IsEmpty());
}

TEST(ShortTransfer, AtAnyCallLoadsAndSaves) {
    Faults faults(manySectors);
    EXPECT_THAT(disturbEachCall(faults, "short", isTransfer), IsEmpty());
}

TEST(FaultInjection, NoticesAnUncheckedWrite) {
    Faults faults(fewSectors, "unchecked-write");
    EXPECT_THAT(failEachCall(faults, ENOSPC), Not(IsEmpty()));
    EXPECT_THAT(disturbEachCall(faults, "short", isTransfer), Not(IsEmpty()));
}

TEST(FaultInjection, NoticesAnUncheckedSync) {
    Faults faults(fewSectors, "unchecked-sync");
    EXPECT_THAT(failEachCall(faults, EIO), Not(IsEmpty()));
}

TEST(FaultInjection, NoticesADirectWrite) {
    Faults faults(fewSectors, "direct");
    EXPECT_THAT(failEachCall(faults, ENOSPC), Not(IsEmpty()));
}

TEST(FaultInjection, NoticesASaveThatGivesUpWhenInterrupted) {
    Faults faults(fewSectors, "impatient");
    EXPECT_THAT(disturbEachCall(faults, "fail", isInterruptible), Not(IsEmpty()));
}

TEST(SavingCarefully, PassesWithAFaultAtAnyCall) {
    Faults faults(fewSectors, "careful");
    EXPECT_THAT(failEachCall(faults, ENOSPC), IsEmpty());
    EXPECT_THAT(failEachCall(faults, EIO), IsEmpty());
    EXPECT_THAT(disturbEachCall(faults, "short", isTransfer), IsEmpty());
    EXPECT_THAT(disturbEachCall(faults, "fail", isInterruptible), IsEmpty());
}

} // namespace
