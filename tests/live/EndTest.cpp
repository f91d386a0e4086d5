// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <unistd.h>

#include <velmorand/Listener.h>
#include <velmorand/Lock.h>

#include "Live.h"
#include "support/Allocators.h"
#include "support/BlockedThread.h"

using namespace velmorand;
using support::BlockedThread;
using support::inChild;

namespace {

class LiveAtTheEnd : public live::Directories {};

[[noreturn]] void waitForTheEnd() {
    for (;;)
        ::pause();
}

} // namespace

TEST_F(LiveAtTheEnd, SaveTheChangesOfAMergeInProgress) {
    ASSERT_EQ(0, inChild([this] {
                  live::Turn const turn(options.userDirectory);
                  auto* const live = new LiveSettings(options); // NOLINT: never destroyed
                  write("a/x", 1);
                  BlockedThread const merging([live] { live->sync(); });
                  BlockedThread const exiting([] { std::exit(0); });
                  turn.end();
                  waitForTheEnd();
              }));
    expectStored("a/x", 1);
}

TEST_F(LiveAtTheEnd, SaveTheChangesOfADestructorInProgress) {
    ASSERT_EQ(0, inChild([this] {
                  live::Turn const turn(options.userDirectory);
                  auto* const live = new LiveSettings(options);
                  write("a/x", 1);
                  BlockedThread const destroying([live] { delete live; });
                  BlockedThread const exiting([] { std::exit(0); });
                  turn.end();
                  waitForTheEnd();
              }));
    expectStored("a/x", 1);
}

TEST_F(LiveAtTheEnd, SaveAtAnExitFromTheEventListener) {
    save("a/x", 1);
    live::put(file(), "damaged");
    ASSERT_EQ(7, inChild([this] {
                  bool isOpen = false;
                  options.onEvent = [&isOpen](LiveEvent const&) {
                      if (isOpen)
                          std::exit(7);
                  };
                  LiveSettings live(options);
                  isOpen = true;
                  live::put(file(), "damaged");
                  write("a/x", 2);
                  live.sync();
              }));
    expectStored("a/x", 2);
}

TEST_F(LiveAtTheEnd, AllowAnExitEvenIfAThreadNeverReleasesTheLock) {
    ASSERT_EQ(7, inChild([this] {
                  LiveSettings const live(options);
                  write("a/x", 1);
                  std::atomic<bool> isHeld{false};
                  std::thread([&isHeld] {
                      Lock const lock;
                      isHeld = true;
                      waitForTheEnd();
                  }).detach();
                  while (!isHeld)
                      std::this_thread::yield();
                  ::alarm(60); // for an exit that waits forever
                  std::exit(7);
              }));
}

TEST_F(LiveAtTheEnd, AllowAForkedChildToExitEvenIfAnotherThreadHeldTheLock) {
    ASSERT_EQ(0, inChild([this] {
                  LiveSettings const live(options);
                  write("a/x", 1);
                  std::atomic<bool> isHeld{false};
                  std::atomic<bool> isEnough{false};
                  std::thread holder([&] {
                      Lock const lock;
                      isHeld = true;
                      while (!isEnough)
                          std::this_thread::yield();
                  });
                  while (!isHeld)
                      std::this_thread::yield();
                  EXPECT_EQ(0, inChild([] {}));
                  EXPECT_EQ("", live::bytes(file()));
                  isEnough = true;
                  holder.join();
              }));
    expectStored("a/x", 1);
}

TEST_F(LiveAtTheEnd, AllowAForkedChildToExitEvenIfOtherThreadsWereSaving) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "the sanitizer's allocator may be locked in a child forked while another thread runs";
#endif
    ASSERT_EQ(0, inChild([this] {
                  LiveSettings const live(options);
                  std::atomic<bool> isEnough{false};
                  std::vector<std::thread> saving;
                  for (int i = 0; i < 2; ++i)
                      saving.emplace_back([&, i] {
                          for (int value = 0; !isEnough; ++value) {
                              write("a/" + std::to_string(i), value);
                              static_cast<void>(saveSettings());
                          }
                      });
                  for (int i = 0; i < 12; ++i)
                      EXPECT_EQ(0, inChild([] { ::alarm(20); })) << "child " << i;
                  isEnough = true;
                  for (std::thread& thread : saving)
                      thread.join();
              }));
}

TEST_F(LiveAtTheEnd, MayBeDestroyedWhileOtherThreadsSave) {
    ASSERT_EQ(0, inChild([this] {
                  std::atomic<bool> isEnough{false};
                  std::vector<std::thread> saving;
                  for (int round = 1; round <= 30; ++round) {
                      LiveSettings const live(options);
                      if (round == 1)
                          for (int i = 0; i < 2; ++i)
                              saving.emplace_back([&] {
                                  while (!isEnough)
                                      static_cast<void>(saveSettings());
                              });
                      write("a/x", round);
                  }
                  isEnough = true;
                  for (std::thread& thread : saving)
                      thread.join();
              }));
    expectStored("a/x", 30);
}
