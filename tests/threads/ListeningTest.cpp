// SPDX-License-Identifier: Apache-2.0
//
// Listeners to everything, and queued listeners in event loops, that are created and destroyed while threads change
// settings.

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>
#include <velmorand/QtThread.h>

#include "support/EventLoop.h"
#include "threads/Crew.h"

#ifdef __SANITIZE_THREAD__
/** ThreadSanitizer does not see the locks of these libraries, only the memory and the files that the locks guard. */
extern "C" char const* __tsan_default_suppressions();
char const* __tsan_default_suppressions() {
    return "called_from_lib:libQt5Core.so\ncalled_from_lib:libglib-2.0.so\n";
}
#endif

namespace {

using namespace velmorand;
using threads::Crew;
using threads::rounds;
using utils::properties::_Register;

/** A name for one thread, with a different first level in every round. */
std::string nameOf(int thread, int round) {
    return "thread " + std::to_string(thread) + " round " + std::to_string(round) + "/x";
}

/** Used by a handler, and destroyed as soon as the handler must not be called any more. */
struct Window {
    int calls = 0;
};

} // namespace

TEST(ListenersToEverything, AreNotifiedOfEachNewNameOnceWhileOthersAreAddedAndRemoved) {
    int const roundCount = rounds(150);
    constexpr int writers = 3;
    std::multiset<std::string> heard; // guarded by the settings' lock
    Listener const all{everything, [&heard](std::string const& name) { heard.insert(name); }};
    Crew crew;
    crew.add(writers, roundCount, 3, [](int thread, int round) {
        std::string const name = nameOf(thread, round);
        write(name, round);
        _Register::getInstance()->_writeInteger(nullptr, name, round + 1, SCOPE_TEMPORARY);
        if (round % 2 == 0)
            Property<int>{name}.reset();
    });
    crew.add(2, roundCount, 1, [](int /*thread*/, int /*round*/) {
        std::set<std::string> own;
        Listener const fleeting{everything, [&own](std::string const& name) { own.insert(name); }};
        std::this_thread::yield();
    });
    crew.run();
    for (int thread = 0; thread < writers; ++thread)
        for (int round = 0; round < roundCount; ++round)
            EXPECT_EQ(round % 2 == 0 ? 3U : 2U, heard.count(nameOf(thread, round)));
}

class ListenersInLoops : public testing::Test {
protected:
    int argc = 1;
    char program[5] = "test";
    char* argv[2] = {program, nullptr};
    QCoreApplication application{argc, argv};
};

TEST_F(ListenersInLoops, ReceiveTheLastValueOfEveryThread) {
    constexpr int writers = 3;
    int const roundCount = rounds(500);
    support::EventLoop const loop;
    std::vector<int> last(writers); // of the loop's thread
    QueuedListener const changes{"a", inThreadOf(loop.object()), [&](std::string const& name) {
                                     last[std::stoul(name.substr(2))] = read<int>(name);
                                 }};
    Crew crew;
    crew.add(writers, roundCount, 1,
             [](int thread, int round) { write("a/" + std::to_string(thread), round + 1); });
    crew.run();
    loop.run([] {});
    EXPECT_EQ(std::vector<int>(writers, roundCount), last);
}

TEST_F(ListenersInLoops, MayBeDestroyedWhileTheLoopRunsAndOthersWrite) {
    int const roundCount = rounds(300);
    support::EventLoop const loop;
    std::atomic<long> calls{0};
    std::atomic<int> stillUsed{0};
    Crew crew;
    crew.add(2, roundCount, 3, [](int thread, int round) {
        for (int i = 0; i < 3; ++i)
            write("a/" + std::to_string(thread), round + i);
    });
    crew.add(2, roundCount, 1, [&](int /*thread*/, int round) {
        auto const window = std::make_shared<Window>();
        std::optional<QueuedListener> changes;
        changes.emplace("a", inThreadOf(loop.object()), [window](std::string const&) { ++window->calls; });
        for (int i = 0; i < round % 8; ++i)
            std::this_thread::yield();
        changes.reset();
        calls += window->calls;
        if (window.use_count() != 1)
            ++stillUsed;
    });
    crew.run();
    EXPECT_EQ(0, stillUsed);
    std::cout << calls << " calls\n";
}

TEST_F(ListenersInLoops, AreNotCalledOnceTheirObjectIsDestroyed) {
    int const roundCount = rounds(100);
    std::atomic<bool> isOver{false};
    Crew crew;
    crew.add(2, 1, 1, [&](int thread, int /*round*/) {
        for (int i = 0; !isOver; ++i)
            write("a/" + std::to_string(thread), i);
    });
    crew.add(1, 1, roundCount, [&](int /*thread*/, int /*round*/) {
        for (int round = 0; round < roundCount; ++round) {
            auto window = std::make_unique<Window>();
            std::optional<support::EventLoop> loop;
            loop.emplace();
            QueuedListener const changes{"a", inThreadOf(loop->object()),
                                         [&window](std::string const&) { ++window->calls; }};
            for (int i = 0; i < round % 8; ++i)
                std::this_thread::yield();
            loop.reset();
            window.reset();
        }
        isOver = true;
    });
    crew.run();
}
