// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/BlockedThread.h"
#include "support/ChildProcess.h"
#include "support/RegisterProbe.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> delivered(QueuedListener& changes) {
    std::vector<std::string> names;
    changes.deliver([&names](std::string const& name) { names.push_back(name); });
    return names;
}

/** An executor whose tasks run on request. */
class QueuedWithAnExecutor : public testing::Test {
protected:
    auto executor() {
        return [this](std::function<void()> task) { tasks.push_back(std::move(task)); };
    }
    auto note() {
        return [this](std::string const& name) { names.push_back(name); };
    }

    /** Runs the queued tasks. Result: their number. */
    std::size_t runTasks() {
        auto const now = std::exchange(tasks, {});
        for (auto const& task : now)
            task();
        return now.size();
    }

    std::vector<std::function<void()>> tasks;
    std::vector<std::string> names;
};

} // namespace

TEST(Queued, DeliversEachNameOnce) {
    QueuedListener changes{"a"};
    write("a/c", 1);
    write("a/b", 1);
    write("a/c", 2);
    EXPECT_THAT(delivered(changes), ElementsAre("a/b", "a/c"));
    EXPECT_THAT(delivered(changes), IsEmpty());
}

TEST(Queued, ReturnsTheNumberOfDeliveredNames) {
    QueuedListener changes{"a"};
    write("a/c", 1);
    write("a/b", 1);
    EXPECT_EQ(2U, changes.deliver([](std::string const&) {}));
}

TEST(Queued, ReportsWhetherNamesAreQueued) {
    QueuedListener changes{"a"};
    EXPECT_TRUE(changes.empty());
    write("a/b", 1);
    EXPECT_FALSE(changes.empty());
    delivered(changes);
    EXPECT_TRUE(changes.empty());
}

TEST(Queued, DeliversWithoutHoldingTheLock) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    bool isFree = false;
    changes.deliver([&](std::string const&) { isFree = support::lockIsFree(); });
    EXPECT_TRUE(isFree);
}

TEST(Queued, KeepsChangesMadeDuringADeliveryForTheNextOne) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    changes.deliver([](std::string const&) { write("a/b", 2); });
    EXPECT_THAT(delivered(changes), ElementsAre("a/b"));
}

TEST(Queued, KeepsTheRemainingNamesIfTheHandlerThrows) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    write("a/c", 1);
    EXPECT_THROW(changes.deliver([](std::string const&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_THAT(delivered(changes), ElementsAre("a/c"));
}

TEST(Queued, WakesOnceUntilTheNamesAreDelivered) {
    int wakes = 0;
    QueuedListener changes{"a", [&wakes] { ++wakes; }};
    write("a/b", 1);
    write("a/c", 1);
    EXPECT_EQ(1, wakes);
    delivered(changes);
    write("a/b", 2);
    EXPECT_EQ(2, wakes);
}

TEST(Queued, WakesAgainAfterTheHandlerThrew) {
    int wakes = 0;
    QueuedListener changes{"a", [&wakes] { ++wakes; }};
    write("a/b", 1);
    write("a/c", 1);
    EXPECT_THROW(changes.deliver([](std::string const&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    write("a/b", 2);
    EXPECT_EQ(2, wakes);
    EXPECT_THAT(delivered(changes), ElementsAre("a/b", "a/c"));
}

TEST(Queued, WakesAgainAfterTheWakeCallbackThrew) {
    int wakes = 0;
    QueuedListener changes{"a", [&wakes] {
                               if (++wakes == 1)
                                   throw std::runtime_error("no");
                           }};
    EXPECT_THROW(write("a/b", 1), std::runtime_error);
    write("a/c", 1);
    EXPECT_LT(1, wakes);
    EXPECT_THAT(delivered(changes), ElementsAre("a/b", "a/c"));
}

TEST(Queued, SkipsItsSender) {
    int sender = 0;
    QueuedListener changes{"a", [] {}, &sender};
    write("a/b", 1, SCOPE_USER, &sender);
    EXPECT_THAT(delivered(changes), IsEmpty());
}

TEST(Queued, KeepsItsNamesWhenItIsMoved) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    QueuedListener moved(std::move(changes));
    write("a/c", 1);
    EXPECT_THAT(delivered(moved), ElementsAre("a/b", "a/c"));
}

TEST(Queued, MayBeDestroyedByItsHandler) {
    std::optional<QueuedListener> changes;
    changes.emplace("a");
    write("a/b", 1);
    write("a/c", 1);
    std::vector<std::string> names;
    changes->deliver([&](std::string const& name) {
        changes.reset();
        names.push_back(name);
    });
    EXPECT_THAT(names, ElementsAre("a/b", "a/c"));
}

TEST_F(QueuedWithAnExecutor, IsCalledByTheTaskAndNotBefore) {
    QueuedListener const changes{"a", executor(), note()};
    write("a/b", 1);
    EXPECT_THAT(names, IsEmpty());
    EXPECT_EQ(1U, runTasks());
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(QueuedWithAnExecutor, ReceivesAllNamesInOneTask) {
    QueuedListener const changes{"a", executor(), note()};
    write("a/c", 1);
    write("a/b", 1);
    write("a/c", 2);
    EXPECT_EQ(1U, runTasks());
    EXPECT_THAT(names, ElementsAre("a/b", "a/c"));
}

TEST_F(QueuedWithAnExecutor, ReceivesChangesMadeDuringATaskInAnotherTask) {
    QueuedListener const changes{"a", executor(), [this](std::string const& name) {
                                     names.push_back(name);
                                     if (names.size() == 1)
                                         write("a/b", 2);
                                 }};
    write("a/b", 1);
    EXPECT_EQ(1U, runTasks());
    EXPECT_EQ(1U, runTasks());
    EXPECT_EQ(0U, runTasks());
    EXPECT_THAT(names, ElementsAre("a/b", "a/b"));
}

TEST_F(QueuedWithAnExecutor, IsCalledWithoutTheLockHeld) {
    bool isFree = false;
    QueuedListener const changes{"a", executor(),
                                 [&](std::string const&) { isFree = support::lockIsFree(); }};
    write("a/b", 1);
    runTasks();
    EXPECT_TRUE(isFree);
}

TEST_F(QueuedWithAnExecutor, SkipsItsSender) {
    QueuedListener const changes{"a", executor(), note(), this};
    write("a/b", 1, SCOPE_USER, this);
    EXPECT_EQ(0U, runTasks());
}

TEST_F(QueuedWithAnExecutor, AcceptsMoveOnlyCallables) {
    auto target = std::make_unique<std::string>();
    std::string const& heard = *target;
    QueuedListener const changes{"a",
                                 [held = std::make_unique<int>(),
                                  run = executor()](std::function<void()> task) { run(std::move(task)); },
                                 [target = std::move(target)](std::string const& name) { *target = name; }};
    write("a/b", 1);
    runTasks();
    EXPECT_EQ("a/b", heard);
}

TEST_F(QueuedWithAnExecutor, ReportsAnExceptionOfTheHandlerAndContinues) {
    QueuedListener const changes{"a", executor(), [this](std::string const& name) {
                                     names.push_back(name);
                                     throw std::runtime_error("no");
                                 }};
    write("a/b", 1);
    write("a/c", 1);
    testing::internal::CaptureStderr();
    runTasks();
    EXPECT_EQ("settings: exception in a listener to \"a/b\": no\n"
              "settings: exception in a listener to \"a/c\": no\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(names, ElementsAre("a/b", "a/c"));
    write("a/d", 1);
    EXPECT_EQ(1U, runTasks());
}

TEST_F(QueuedWithAnExecutor, CallsAThrowingExecutorAgain) {
    bool isFull = true;
    QueuedListener const changes{"a",
                                 [&](std::function<void()> task) {
                                     if (std::exchange(isFull, false))
                                         throw std::runtime_error("full");
                                     tasks.push_back(std::move(task));
                                 },
                                 note()};
    EXPECT_THROW(write("a/b", 1), std::runtime_error);
    write("a/c", 1);
    runTasks();
    EXPECT_THAT(names, ElementsAre("a/b", "a/c"));
}

TEST_F(QueuedWithAnExecutor, IsNotCalledOnceItIsDestroyed) {
    auto const held = std::make_shared<int>();
    std::optional<QueuedListener> changes;
    changes.emplace("a", executor(), [this, held](std::string const& name) { names.push_back(name); });
    write("a/b", 1);
    changes.reset();
    EXPECT_EQ(1, held.use_count()); // the function has been destroyed, even though a task is still queued
    EXPECT_EQ(1U, runTasks());
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(QueuedWithAnExecutor, IsNotCalledOnceAnotherIsAssigned) {
    QueuedListener changes{"a", executor(), note()};
    write("a/b", 1);
    changes = QueuedListener{"c", executor(), note()};
    write("c/d", 1);
    EXPECT_EQ(2U, runTasks());
    EXPECT_THAT(names, ElementsAre("c/d"));
}

TEST_F(QueuedWithAnExecutor, IsCalledAfterAMove) {
    QueuedListener changes{"a", executor(), note()};
    write("a/b", 1);
    QueuedListener const moved(std::move(changes));
    runTasks();
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(QueuedWithAnExecutor, MayBeDestroyedInsideItsOwnCall) {
    auto const held = std::make_shared<int>();
    std::optional<QueuedListener> changes;
    long uses = 0;
    changes.emplace("a", executor(), [this, &changes, &uses, own = held](std::string const& name) {
        names.push_back(name);
        changes.reset();
        uses = own.use_count(); // the function is not destroyed before it returns
    });
    write("a/b", 1);
    write("a/c", 1);
    runTasks();
    EXPECT_EQ(2, uses);
    EXPECT_EQ(1, held.use_count());
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(QueuedWithAnExecutor, DestroyedOnAnotherThreadWaitsForARunningCall) {
    std::atomic<bool> destroyed{false};
    bool destroyedInside = true;
    std::optional<support::BlockedThread> destroyer;
    std::optional<QueuedListener> changes;
    changes.emplace("a", executor(), [&](std::string const& name) {
        names.push_back(name);
        destroyer.emplace([&] {
            changes.reset();
            destroyed = true;
        });
        destroyedInside = destroyed;
    });
    write("a/b", 1);
    write("a/c", 1);
    runTasks();
    destroyer->join();
    EXPECT_FALSE(destroyedInside);
    EXPECT_TRUE(destroyed);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(QueuedWithAnExecutor, DestroyedInAForkedChildDoesNotWaitForTheParentsThreads) {
    std::optional<QueuedListener> changes;
    changes.emplace("a", executor(), [&](std::string const&) {
        std::thread([&] {
            EXPECT_EQ(0, support::inChild([&] { changes.reset(); }, support::Leave::atOnce));
        }).join();
    });
    write("a/b", 1);
    runTasks();
}

TEST_F(QueuedWithAnExecutor, IsCalledAgainInsideANestedLoop) {
    QueuedListener const changes{"a", executor(), [this](std::string const& name) {
                                     names.push_back(name + " begins");
                                     if (name == "a/b") {
                                         write("a/c", 1);
                                         runTasks();
                                     }
                                     names.push_back(name + " ends");
                                 }};
    write("a/b", 1);
    runTasks();
    EXPECT_THAT(names, ElementsAre("a/b begins", "a/c begins", "a/c ends", "a/b ends"));
}

TEST_F(QueuedWithAnExecutor, MayListenToEverything) {
    QueuedListener const changes{everything, executor(), note()};
    write("a/b", 1);
    write("c", 1);
    runTasks();
    EXPECT_THAT(names, ElementsAre("a/b", "c"));
}
