// SPDX-License-Identifier: Apache-2.0
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Listener.h>
#include <velmorand/Property.h>

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

} // namespace

TEST(Queued, HandsOverEachNameOnce) {
    QueuedListener changes{"a"};
    write("a/c", 1);
    write("a/b", 1);
    write("a/c", 2);
    EXPECT_THAT(delivered(changes), ElementsAre("a/b", "a/c"));
    EXPECT_THAT(delivered(changes), IsEmpty());
}

TEST(Queued, SaysHowManyItHandedOver) {
    QueuedListener changes{"a"};
    write("a/c", 1);
    write("a/b", 1);
    EXPECT_EQ(2U, changes.deliver([](std::string const&) {}));
}

TEST(Queued, TellsWhetherThereIsSomething) {
    QueuedListener changes{"a"};
    EXPECT_TRUE(changes.empty());
    write("a/b", 1);
    EXPECT_FALSE(changes.empty());
    delivered(changes);
    EXPECT_TRUE(changes.empty());
}

TEST(Queued, HandsOverWithNoLockHeld) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    bool isFree = false;
    changes.deliver([&](std::string const&) { isFree = support::lockIsFree(); });
    EXPECT_TRUE(isFree);
}

TEST(Queued, KeepsForTheNextTimeWhatChangesMeanwhile) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    changes.deliver([](std::string const&) { write("a/b", 2); });
    EXPECT_THAT(delivered(changes), ElementsAre("a/b"));
}

TEST(Queued, KeepsWhatTheHandlerWasNotCalledWith) {
    QueuedListener changes{"a"};
    write("a/b", 1);
    write("a/c", 1);
    EXPECT_THROW(changes.deliver([](std::string const&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_THAT(delivered(changes), ElementsAre("a/c"));
}

TEST(Queued, WakesOnceUntilTheNamesAreHandedOver) {
    int wakes = 0;
    QueuedListener changes{"a", [&wakes] { ++wakes; }};
    write("a/b", 1);
    write("a/c", 1);
    EXPECT_EQ(1, wakes);
    delivered(changes);
    write("a/b", 2);
    EXPECT_EQ(2, wakes);
}

TEST(Queued, WakesAgainAfterAHandlerThatThrew) {
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

TEST(Queued, WakesAgainAfterAWakeThatThrew) {
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

TEST(Queued, LeavesOutItsSender) {
    int sender = 0;
    QueuedListener changes{"a", [] {}, &sender};
    write("a/b", 1, SCOPE_USER, &sender);
    EXPECT_THAT(delivered(changes), IsEmpty());
}

TEST(Queued, MovesWithWhatItHasCollected) {
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
