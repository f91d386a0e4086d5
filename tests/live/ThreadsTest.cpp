// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <functional>
#include <thread>

#include <velmorand/Listener.h>
#include <velmorand/Lock.h>

#include "Live.h"
#include "support/BlockedThread.h"

using namespace velmorand;
using support::BlockedThread;

namespace {

class LiveInThreads : public live::Directories {
protected:
    LiveInThreads() { options.delay = std::chrono::milliseconds(1); }
};

/** Runs each body `times` times, all bodies concurrently. */
void atOnce(int times, std::vector<std::function<void(int)>> const& bodies) {
    std::vector<std::thread> threads;
    for (auto const& body : bodies)
        threads.emplace_back([&body, times] {
            for (int i = 1; i <= times; ++i)
                body(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

TEST_F(LiveInThreads, MayBeWrittenReadListenedToAndSavedConcurrently) {
    EXPECT_EQ(0, inProgram([](LiveSettings& live) {
                  std::atomic<int> heard{0};
                  Listener const always{"a", [&](std::string const&) { ++heard; }};
                  atOnce(300, {[](int i) { write("a/x", i); },
                               [&](int i) {
                                   write("a/y", i);
                                   EXPECT_TRUE(live.sync().saved);
                                   EXPECT_EQ(i, read<int>("a/y"));
                               },
                               [&](int) { EXPECT_TRUE(live.sync().saved); },
                               [&](int) { static_cast<void>(live.isSaved()); },
                               [](int) {
                                   Listener const briefly{"a", [](std::string const&) {}};
                               }});
                  EXPECT_EQ(600, heard);
              }));
    expectStored("a/x", 300);
    expectStored("a/y", 300);
}

TEST_F(LiveInThreads, MayBeSavedWithTheLockHeld) {
    EXPECT_EQ(0, inProgram([](LiveSettings& live) {
                  auto const locked = [&](char const* name) {
                      return [&live, name](int i) {
                          Lock const lock;
                          write(name, i);
                          EXPECT_TRUE(live.sync().saved);
                      };
                  };
                  atOnce(100, {locked("a/x"), locked("a/y"), [&](int i) {
                                   write("a/z", i);
                                   EXPECT_TRUE(live.sync().saved);
                               }});
              }));
    for (char const* const name : {"a/x", "a/y", "a/z"})
        expectStored(name, 100);
}

TEST_F(LiveInThreads, MayBeSavedByAListener) {
    EXPECT_EQ(0, inProgram([](LiveSettings& live) {
                  Listener const listener{"a", [&](std::string const&) { EXPECT_TRUE(live.sync().saved); }};
                  atOnce(100, {[](int i) { write("a/x", i); }, [](int i) { write("a/y", i); }});
              }));
    expectStored("a/x", 100);
    expectStored("a/y", 100);
}

TEST_F(LiveInThreads, MayBeSavedByTheListenerToEvents) {
    EXPECT_EQ(0, support::inChild([this] {
                  LiveSettings* opened = nullptr;
                  int told = 0;
                  options.delay = std::chrono::hours(1);
                  options.onEvent = [&](LiveEvent const&) {
                      write("a/y", ++told);
                      EXPECT_TRUE(opened->sync().saved);
                  };
                  LiveSettings live(options);
                  opened = &live;
                  write("a/x", 1);
                  EXPECT_TRUE(live.sync().saved);
                  live::put(file(), "damaged");
                  EXPECT_TRUE(live.sync().saved);
                  EXPECT_EQ(1, told);
              }));
    expectStored("a/x", 1);
    expectStored("a/y", 1);
}

TEST_F(LiveInThreads, DoNotHoldTheLockWhileTheyWaitForAnotherProcess) {
    EXPECT_EQ(0, inProgram([this](LiveSettings& live) {
                  live::Turn const turn(options.userDirectory);
                  write("a/x", 1);
                  BlockedThread merging([&live] { EXPECT_TRUE(live.sync().saved); });
                  write("a/x", 2);
                  EXPECT_EQ(2, read<int>("a/x"));
                  turn.end();
              }));
    expectStored("a/x", 2);
}

TEST_F(LiveInThreads, KeepASaveByAnotherProcessWhileTheyWaitToCreateTheFileAgain) {
    options.delay = std::chrono::hours(1);
    save("a/theirs", 2);
    std::string const theirs = live::bytes(file());
    std::filesystem::remove(file());
    save("a/mine", 1);
    EXPECT_EQ(0, inProgram([&](LiveSettings& live) {
                  std::filesystem::remove(file());
                  live::Turn const turn(options.userDirectory);
                  BlockedThread const merging([&live] { EXPECT_TRUE(live.sync().saved); });
                  live::put(file(), theirs);
                  turn.end();
              }));
    expectStored("a/theirs", 2);
}
