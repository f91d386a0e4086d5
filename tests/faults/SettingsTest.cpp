// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>
#include <velmorand/Changes.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>

#include "faults/Allocation.h"
#include "support/ChildProcess.h"
#include "support/RegisterProbe.h"

// Every allocation of an operation that changes several settings fails once, each in its own process. The operation
// must make all its changes or none.

namespace {

using faults::Afterwards;
using faults::FailingAllocation;
using utils::properties::_Register;
using namespace velmorand;

constexpr int nothingFailed = 42;

// Too long to be stored without allocating memory.
std::string const outer = "a group whose name is longer than fits in a node";
std::string const property = "a property whose name is longer than fits in a node";
std::string const longText(200, 'v');

std::map<std::string, std::string> usersSettings() {
    std::map<std::string, std::string> all;
    for (filesystem::direct::Walk walk(*_Register::getInstance(), "user"); walk.next();)
        all.emplace(walk.path(), walk.content());
    return all;
}

void prepare() {
    Group const group(outer);
    group.write("text", longText);
    group.write("number", 1);
    group.write("in/" + property, longText);
    group.write("global/" + property, longText, SCOPE_GLOBAL);
}

Changes changesOfAllSorts() {
    Changes changes;
    changes.write(outer + "/text", longText + longText);
    changes.write(outer + "/number", longText);
    changes.write(outer + "/new/" + property, longText);
    changes.write("b", longText);
    changes.reset(outer + "/in/" + property);
    return changes;
}

/** Prepares an operation. Result: the operation itself. */
using Operation = std::function<std::function<void()>()>;

/** Ends the process if the operation has no `nth` allocation. */
void failAllocation(Operation const& operation, long nth, Afterwards afterwards) {
    prepare();
    operation()();
    auto const after = usersSettings();
    Group().remove();
    prepare();
    auto const before = usersSettings();
    auto const call = operation();
    bool isDone = true;
    bool hasFailed = false;
    {
        FailingAllocation const fault(nth, afterwards);
        try {
            call();
        } catch (std::bad_alloc const&) {
            isDone = false;
        }
        hasFailed = FailingAllocation::hasFailed();
    }
    auto const now = usersSettings();
    EXPECT_TRUE(support::lockIsFree());
    EXPECT_NE(before, after);
    EXPECT_TRUE(now == after || (now == before && !isDone && hasFailed));
    if (now == before)
        call();
    EXPECT_EQ(after, usersSettings());
    if (!hasFailed)
        std::exit(testing::Test::HasFailure() ? 1 : nothingFailed);
}

void expectAllOrNothing(Operation const& operation) {
    for (Afterwards const afterwards : {Afterwards::memoryIsThere, Afterwards::nothingIsLeft}) {
        long nth = 1;
        int status = 0;
        for (; status == 0; ++nth)
            status = support::inChild([&] { failAllocation(operation, nth, afterwards); });
        EXPECT_EQ(nothingFailed, status) << "allocation " << nth - 1;
        EXPECT_LT(3, nth);
    }
}

} // namespace

TEST(FailingChanges, AreAllMadeOrNone) {
    expectAllOrNothing([] {
        auto const changes = std::make_shared<Changes>(changesOfAllSorts());
        return [changes] { changes->apply(); };
    });
}

TEST(FailingChanges, OfAnnouncedNamesAreAllMadeOrNone) {
    expectAllOrNothing([] {
        auto const changes = std::make_shared<Changes>(changesOfAllSorts());
        auto const listener = std::make_shared<Listener>(outer, [](std::string const&) {});
        return [changes, listener] { changes->apply(); };
    });
}

TEST(FailingRemove, RemovesAllOrNothing) {
    expectAllOrNothing([] { return [] { Group(outer).remove(); }; });
}

TEST(FailingRemove, OfAllSettingsRemovesAllOrNothing) {
    expectAllOrNothing([] { return [] { Group().remove(); }; });
}

TEST(FailingCopy, CopiesAllOrNothing) {
    expectAllOrNothing([] { return [] { Group(outer).copy("a new group whose name is long as well"); }; });
}

TEST(FailingRename, MovesAllOrNothing) {
    expectAllOrNothing([] { return [] { Group(outer).rename("a new group whose name is long as well"); }; });
}
