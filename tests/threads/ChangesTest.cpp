// SPDX-License-Identifier: Apache-2.0
//
// Applying changes together and renaming groups while other threads read, write and listen.

#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include <velmorand/Changes.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>
#include <velmorand/Lock.h>

#include "threads/Crew.h"

namespace {

using namespace velmorand;
using threads::Crew;
using threads::rounds;

} // namespace

TEST(Changes, BecomeVisibleTogether) {
    Property<int> const width{"a/width", 0};
    Property<std::string> const height{"a/height", "0"};
    std::atomic<int> torn{0};
    Listener const listener{"a", [&](std::string const&) {
                                if (std::to_string(width.get()) != height.get())
                                    ++torn;
                            }};
    Crew crew;
    crew.add(2, rounds(2'000), 1, [&](int thread, int round) {
        Changes changes;
        changes.set(width, 2 * round + thread);
        changes.set(height, std::to_string(2 * round + thread));
        changes.write("b/" + std::to_string(thread), round);
        changes.apply();
    });
    crew.add(2, rounds(4'000), 2, [&](int /*thread*/, int /*round*/) {
        Lock const lock;
        if (std::to_string(width.get()) != height.get())
            ++torn;
    });
    crew.add(1, rounds(2'000), 1, [](int /*thread*/, int round) {
        Listener const passing{"a", [](std::string const&) {}};
        write("b/passing", round);
    });
    crew.run();
    EXPECT_EQ(0, torn);
}

TEST(Groups, ExistUnderEitherTheOldOrTheNewName) {
    write("old/x", 1);
    write("old/in/y", 2);
    std::atomic<int> lost{0};
    Crew crew;
    crew.add(1, rounds(2'000), 2, [](int /*thread*/, int /*round*/) {
        Group("old").rename("new");
        Group("new").rename("old");
    });
    crew.add(2, rounds(4'000), 2, [&](int /*thread*/, int /*round*/) {
        Lock const lock;
        bool const isOld = Group("old").contains("x") && Group("old").contains("in/y");
        bool const isNew = Group("new").contains("x") && Group("new").contains("in/y");
        if (isOld == isNew)
            ++lost;
    });
    crew.run();
    EXPECT_EQ(0, lost);
}
