// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <utils/Exception.h>
#include <utils/properties/Register.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using support::inChild;
using testing::ElementsAre;
using testing::IsEmpty;

class ListenerHandle : public testing::Test {
protected:
    auto note() {
        return [this](std::string const& name) { names.push_back(name); };
    }

    std::vector<std::string> names;
};

} // namespace

TEST_F(ListenerHandle, IsNotifiedOfAChangeInItsGroup) {
    Listener const listener{"a", note()};
    write("a/b", 1);
    write("c/d", 1);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, IsRemovedAtTheEndOfItsScope) {
    { Listener const listener{"a", note()}; }
    write("a/b", 1);
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(ListenerHandle, SkipsItsSender) {
    int sender = 0;
    Listener const listener{"a", note(), &sender};
    write("a/b", 1, SCOPE_USER, &sender);
    write("a/c", 1, SCOPE_USER, this);
    EXPECT_THAT(names, ElementsAre("a/c"));
}

TEST_F(ListenerHandle, WithoutASenderIsNotifiedOfWritesWithoutASender) {
    Listener const listener{"a", note()};
    write("a/b", 1, SCOPE_USER, nullptr);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, AcceptsAMoveOnlyCallable) {
    auto target = std::make_unique<std::string>();
    std::string const& heard = *target;
    Listener const listener{"a", [target = std::move(target)](std::string const& name) { *target = name; }};
    write("a/b", 1);
    EXPECT_EQ("a/b", heard);
}

TEST_F(ListenerHandle, MovesWithItsEntry) {
    std::optional<Listener> moved;
    {
        Listener listener{"a", note()};
        moved.emplace(std::move(listener));
    }
    write("a/b", 1);
    moved.reset();
    write("a/c", 1);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, IsRemovedWhenAnotherIsAssigned) {
    std::vector<std::string> others;
    Listener listener{"a", note()};
    listener = Listener{"a", [&](std::string const& name) { others.push_back(name); }};
    write("a/b", 1);
    EXPECT_THAT(names, IsEmpty());
    EXPECT_THAT(others, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, MayBeDestroyedInsideItsOwnCall) {
    auto const held = std::make_shared<int>();
    std::optional<Listener> listener;
    long uses = 0;
    listener.emplace("a", [&listener, &uses, &held, own = held](std::string const&) {
        long& result = uses;
        auto const& shared = held;
        listener.reset();
        result = shared.use_count(); // the callable is not destroyed before it returns
    });
    write("a/b", 1);
    write("a/b", 2);
    EXPECT_EQ(2, uses);
    EXPECT_EQ(1, held.use_count());
}

TEST_F(ListenerHandle, MayBeDestroyedByAnotherListenerBeforeItsTurn) {
    std::optional<Listener> second;
    Listener const first{"a", [&](std::string const&) { second.reset(); }};
    second.emplace("a", note());
    write("a/b", 1);
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(ListenerHandle, DestroyedOnAnotherThreadWaitsForARunningCall) {
    std::atomic<bool> destroyed{false};
    bool destroyedInside = true;
    std::thread destroyer;
    std::optional<Listener> listener;
    listener.emplace("a", [&](std::string const&) {
        destroyer = std::thread([&] {
            listener.reset();
            destroyed = true;
        });
        for (int i = 0; i < 1'000; ++i)
            std::this_thread::yield();
        destroyedInside = destroyed;
    });
    write("a/b", 1);
    destroyer.join();
    EXPECT_FALSE(destroyedInside);
    EXPECT_TRUE(destroyed);
}

TEST_F(ListenerHandle, PassesItsExceptionToTheWriter) {
    Listener const listener{"a", [](std::string const&) { throw utils::Exception("no"); }};
    EXPECT_EQ("no", failure([] { write("a/b", 1); }));
    EXPECT_EQ(1, read<int>("a/b"));
}

TEST_F(ListenerHandle, IsNotifiedOnceEvenIfAnotherThrows) {
    Listener const first{"a/b", note()};
    Listener const throwing{"a/b", [](std::string const&) { throw utils::Exception("no"); }};
    Listener const second{"a/b", note()};
    Listener const around{"a", note()};
    EXPECT_EQ("no", failure([] { write("a/b", 1); }));
    EXPECT_THAT(names, ElementsAre("a/b", "a/b", "a/b"));
    write("c", 1);
    EXPECT_THAT(names, ElementsAre("a/b", "a/b", "a/b"));
}

TEST_F(ListenerHandle, PrintsItsExceptionIfAnotherHasThrownBefore) {
    Listener const first{"a", [](std::string const&) { throw utils::Exception("first"); }};
    Listener const second{"a", [](std::string const&) { throw utils::Exception("second"); }};
    Listener const third{"a", [](std::string const&) { throw 3; }};
    testing::internal::CaptureStderr();
    EXPECT_EQ("first", failure([] { write("a/b", 1); }));
    EXPECT_EQ("settings: exception in a listener to \"a/b\": second\n"
              "settings: exception in a listener to \"a/b\": not a std::exception\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(ListenerHandle, PrintsItsExceptionIfARegistersCallbackThrowsAfterIt) {
    struct Throwing : utils::properties::_Register::Callback {
        void propertyChanged(std::string const&) override { throw utils::Exception("callback"); }
        void* owner() override { return this; }
    } callback;
    auto* const theRegister = utils::properties::_Register::getInstance();
    Listener const listener{"a/b", [](std::string const&) { throw utils::Exception("listener"); }};
    theRegister->addCallback("a", &callback);
    testing::internal::CaptureStderr();
    EXPECT_EQ("callback", failure([] { write("a/b", 1); }));
    EXPECT_EQ("settings: exception in a listener to \"a/b\": listener\n",
              testing::internal::GetCapturedStderr());
    theRegister->removeCallback(&callback);
}

TEST_F(ListenerHandle, MayEndItsThread) {
    bool isEnding = true;
    Listener const listener{"a", [&](std::string const&) {
                                if (isEnding)
                                    ::pthread_exit(nullptr);
                            }};
    std::thread([] { write("a/b", 1); }).join();
    isEnding = false;
    write("a/b", 2);
    EXPECT_EQ(2, read<int>("a/b"));
}

TEST_F(ListenerHandle, CanCatchTheExceptionsOfListenersToItsOwnWrites) {
    std::vector<std::string> caught;
    Listener const throwing{"b", [](std::string const& name) { throw utils::Exception(name); }};
    Listener const writing{"a", [&](std::string const&) {
                               caught.push_back(failure([] { write("b/x", 1); }));
                               caught.push_back(failure([] {
                                   _Register::getInstance()->_writeInteger(nullptr, "b/y", 1, SCOPE_USER);
                               }));
                           }};
    write("a", 1);
    EXPECT_THAT(caught, ElementsAre("b/x", "b/y"));
}

TEST_F(ListenerHandle, IsNotifiedWithTheNextChangeIfMemoryRanOut) {
    bool hasMemory = false;
    Listener const listener{"a", [&](std::string const& name) {
                                if (!hasMemory)
                                    throw std::bad_alloc();
                                names.push_back(name);
                            }};
    EXPECT_THROW(write("a/b", 1), std::bad_alloc);
    hasMemory = true;
    write("c", 1);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, IsNotifiedWithTheNextChangeIfAnotherThrowsForAWriterOfTheRegister) {
    bool throws = true;
    Listener const throwing{"a", [&throws](std::string const&) {
                                if (throws)
                                    throw utils::Exception("no");
                            }};
    Listener const listener{"a", note()};
    EXPECT_EQ("no", failure([] { _Register::getInstance()->_writeInteger(nullptr, "a/b", 1, SCOPE_USER); }));
    EXPECT_THAT(names, IsEmpty());
    throws = false;
    write("c", 1);
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(ListenerHandle, AcceptsAKeyWithExtraSlashes) {
    Listener const group{"/a//b/", note()};
    Listener const property{"a//b//x/", note()};
    write("a/b/x", 1);
    EXPECT_THAT(names, ElementsAre("a/b/x", "a/b/x"));
}

TEST_F(ListenerHandle, IsNeverCalledForAnInvalidKey) {
    Listener const here{"a/./b", note()};
    Listener const above{"a/..", note()};
    write("a/b", 1);
    write("b", 1);
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(ListenerHandle, MatchesANameOfTheRegisterOnlyUpToItsFirstExtraSlash) {
    Listener const property{"a/b/x", note()};
    Listener const inner{"a/b", note()};
    Listener const outer{"a", note()};
    auto const heardOf = [this](std::string const& name) {
        names.clear();
        _Register::getInstance()->_writeInteger(nullptr, name, 1, SCOPE_USER);
        return names.size();
    };
    EXPECT_EQ(3U, heardOf("a/b/x"));
    EXPECT_EQ(3U, heardOf("a/b/x/"));
    EXPECT_EQ(2U, heardOf("a/b//x"));
    EXPECT_EQ(1U, heardOf("a//b/x"));
    EXPECT_EQ(0U, heardOf("/a/b/x"));
}

TEST_F(ListenerHandle, IsCalledWithTheLockHeld) {
    bool isFree = true;
    Listener const listener{"a", [&](std::string const&) { isFree = support::lockIsFree(); }};
    write("a/b", 1);
    EXPECT_FALSE(isFree);
}

TEST_F(ListenerHandle, CreatedFirstMayOutliveTheRegister) {
    EXPECT_EQ(0, inChild([] {
                  static std::optional<Listener> listener; // destroyed after the register
                  _Register::getInstance();
                  listener.emplace("a", [](std::string const&) {});
                  write("a/b", 1, SCOPE_TEMPORARY);
              }));
}

TEST_F(ListenerHandle, IsNotNotifiedOfChangesAtExitAfterItsDestruction) {
    EXPECT_EQ(0, inChild([] {
                  struct Writer {
                      ~Writer() { write("a/b", 1, SCOPE_TEMPORARY); }
                  };
                  struct Holder {
                      ~Holder() {
                          listener.reset();
                          isGone = true;
                      }
                      std::optional<Listener> listener;
                      bool isGone = false;
                  };
                  _Register::getInstance();
                  static Writer const writer; // destroyed after the holder, before the register
                  static Holder holder;
                  holder.listener.emplace("a", [](std::string const&) {
                      if (holder.isGone)
                          std::_Exit(9);
                  });
              }));
}
