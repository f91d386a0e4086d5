// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Changes.h>
#include <velmorand/Group.h>
#include <velmorand/Initialize.h>
#include <velmorand/Listener.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using support::inChild;
using testing::ElementsAre;

constexpr int held = 7;
constexpr int failed = 8;

/** When destroyed, ends the process with `held` or `failed`, depending on the check. */
struct AtEnd {
    ~AtEnd() {
        if (check)
            std::_Exit(check() ? held : failed);
    }
    std::function<bool()> check;
};

std::vector<std::string> filesIn(std::filesystem::path const& directory) {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    return names;
}

constexpr char const* exiting = "the process is exiting and its settings have been closed";

/** Runs a check in a child process whose register has been destroyed after it was used. */
class AfterTheRegister : public testing::Test {
protected:
    int check(std::function<bool()> condition) {
        return inChild([&] {
            static AtEnd end;
            initialize("", directory.string());
            write("a/b", 1);
            end.check = std::move(condition);
        });
    }

    support::TemporaryDirectory directory;
};

} // namespace

TEST_F(AfterTheRegister, ReadingReportsAMissingProperty) {
    EXPECT_EQ(held, check([] {
                  try {
                      static_cast<void>(read<int>("a/b"));
                  } catch (PropertyNotFound const&) {
                      return true;
                  }
                  return false;
              }));
}

TEST_F(AfterTheRegister, ReadingWithAFallbackReturnsIt) {
    EXPECT_EQ(held, check([] { return read<int>("a/b", 5) == 5; }));
}

TEST_F(AfterTheRegister, APropertyHasItsFallback) {
    EXPECT_EQ(held, check([] { return Property<int>("a/b", 5).get() == 5; }));
}

TEST_F(AfterTheRegister, NoPropertyIsSet) {
    EXPECT_EQ(held, check([] {
                  Property<int> const property("a/b", 5);
                  property.reset();
                  return !property.isSet();
              }));
}

TEST_F(AfterTheRegister, WritingIsRefused) {
    EXPECT_EQ(held, check([] {
                  return failure([] { write("a/b", 2); }) == std::string("cannot write \"a/b\": ") + exiting;
              }));
}

TEST_F(AfterTheRegister, AGroupIsEmptyAndCannotBeChanged) {
    EXPECT_EQ(held, check([] {
                  Group const group("a");
                  return group.properties().empty() && !group.contains("b") &&
                         failure([&group] { group.remove(); }) ==
                             std::string("cannot remove \"a\": ") + exiting &&
                         failure([&group] { group.copy("c"); }) ==
                             std::string("cannot copy \"a\" to \"c\": ") + exiting;
              }));
}

TEST_F(AfterTheRegister, ChangesAreNotMade) {
    EXPECT_EQ(held, check([] {
                  Changes changes;
                  changes.write("a/b", 2);
                  return failure([&changes] { changes.apply(); }) ==
                             std::string("cannot apply the changes: ") + exiting &&
                         !changes.empty();
              }));
}

TEST_F(AfterTheRegister, SavingIsRefused) {
    EXPECT_EQ(held, check([] {
                  SaveResult const result = saveSettings();
                  return !result.saved && result.reason == exiting;
              }));
}

TEST_F(AfterTheRegister, ARefusedSaveLeavesNoOtherFile) {
    EXPECT_EQ(held, check([this] {
                  static_cast<void>(saveSettings());
                  return filesIn(directory.path()) == std::vector<std::string>{"Velmorand.dat"};
              }));
}

TEST_F(AfterTheRegister, OpeningTheSettingsAgainIsRefused) {
    EXPECT_EQ(held, check([this] {
                  return failure([this] { initialize("", directory.string()); }) ==
                         std::string("cannot open the settings: ") + exiting;
              }));
}

TEST_F(AfterTheRegister, ANewListenerIsNotNotified) {
    EXPECT_EQ(held, check([] {
                  QueuedListener const queued{"a"};
                  Listener const listener{"a", [](std::string const&) {}};
                  return queued.empty();
              }));
}

TEST_F(AfterTheRegister, LockingDoesNotBlock) {
    EXPECT_EQ(held, check([] {
                  bool taken = false;
                  std::thread([&taken] {
                      Lock const lock;
                      taken = true;
                  }).join();
                  return taken;
              }));
}

TEST_F(AfterTheRegister, ReadingReturnsTheFallbackEvenIfOnlyTheRegisterWasUsed) {
    EXPECT_EQ(held, inChild([] {
                  static AtEnd end;
                  _Register::getInstance()->_writeInteger(nullptr, "a/b", 1, SCOPE_TEMPORARY);
                  end.check = [] { return read<int>("a/b", 5) == 5; };
              }));
}

TEST_F(AfterTheRegister, AThreadThatUsesTheSettingsCanBeJoined) {
    EXPECT_EQ(held, inChild([this] {
                  static std::atomic<bool> isStopping{false};
                  static std::atomic<bool> isStarted{false};
                  static std::thread worker;
                  static AtEnd end;
                  initialize("", directory.string());
                  worker = std::thread([] {
                      while (!isStopping) {
                          static_cast<void>(failure([] { write("a/b", read<int>("a/b", 0) + 1); }));
                          isStarted = true;
                      }
                  });
                  while (!isStarted)
                      std::this_thread::yield();
                  end.check = [] {
                      isStopping = true;
                      worker.join();
                      return true;
                  };
              }));
}

namespace {

/** Runs a check in a child that is forked while another thread holds the lock. */
int forkedUnderTheLock(std::function<bool()> const& check) {
    std::promise<void> taken;
    std::promise<void> release;
    std::thread holder([&] {
        Lock const lock;
        taken.set_value();
        release.get_future().wait();
    });
    taken.get_future().wait();
    int const status = inChild([&] { std::_Exit(check() ? held : failed); }, support::Leave::atOnce);
    release.set_value();
    holder.join();
    return status;
}

constexpr char const* lost = "the settings were locked when this process was forked";

} // namespace

TEST(AChildForkedWhileAnotherThreadHoldsTheLock, ReadsFallbacks) {
    write("a/b", 1);
    EXPECT_EQ(held, forkedUnderTheLock([] { return read<int>("a/b", 5) == 5; }));
}

TEST(AChildForkedWhileAnotherThreadHoldsTheLock, CannotWrite) {
    EXPECT_EQ(held, forkedUnderTheLock([] {
                  return failure([] { write("a/b", 1); }) == std::string("cannot write \"a/b\": ") + lost;
              }));
}

TEST(AChildForkedWhileAnotherThreadHoldsTheLock, DestroysItsListeners) {
    std::optional<Listener> listener;
    listener.emplace("a", [](std::string const&) {});
    EXPECT_EQ(held, forkedUnderTheLock([&listener] {
                  listener.reset();
                  return true;
              }));
}

TEST(AChildForkedByTheHolderOfTheLock, ReadsFallbacks) {
    write("a/b", 1);
    Lock const lock;
    EXPECT_EQ(0, inChild([] { EXPECT_EQ(5, read<int>("a/b", 5)); }, support::Leave::atOnce));
}

TEST(AChildForkedByTheHolderOfTheLock, MayReleaseTheLock) {
    std::optional<Lock> lock;
    lock.emplace();
    EXPECT_EQ(0, inChild([&lock] { lock.reset(); }, support::Leave::atOnce));
}

TEST(AForkedChild, ReadsAndWritesItsOwnSettings) {
    write("a/b", 1);
    EXPECT_EQ(0, inChild(
                     [] {
                         write("a/c", read<int>("a/b") + 1);
                         EXPECT_EQ(2, read<int>("a/c"));
                     },
                     support::Leave::atOnce));
}
