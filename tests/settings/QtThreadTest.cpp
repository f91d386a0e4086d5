// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QObject>
#include <QString>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/Listener.h>
#include <velmorand/Property.h>
#include <velmorand/QtThread.h>
#include <velmorand/QtTypes.h>

#include "support/EventLoop.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"

using namespace velmorand;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

/** A Qt program whose main thread has an event loop. */
class InThreadOf : public testing::Test {
protected:
    auto note() {
        return [this](std::string const& name) {
            names.push_back(name);
            callers.push_back(std::this_thread::get_id());
        };
    }

    int argc = 1;
    char program[5] = "test";
    char* argv[2] = {program, nullptr};
    QCoreApplication application{argc, argv};
    std::unique_ptr<QObject> object = std::make_unique<QObject>();
    std::vector<std::string> names;
    std::vector<std::thread::id> callers;
};

} // namespace

TEST_F(InThreadOf, DeliversInTheEventLoop) {
    QueuedListener const changes{"a", inThreadOf(object.get()), note()};
    write("a/b", 1);
    EXPECT_THAT(names, IsEmpty());
    QCoreApplication::processEvents();
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(InThreadOf, DeliversChangesByOtherThreadsInItsThread) {
    QueuedListener const changes{"a", inThreadOf(object.get()), [this](std::string const& changed) {
                                     note()(changed);
                                     if (read<int>("a/last", 0) == 1)
                                         QCoreApplication::quit();
                                 }};
    std::thread first([] { write("a/b", 1); });
    std::thread second([] {
        write("a/c", 1);
        write("a/last", 1);
    });
    QCoreApplication::exec();
    first.join();
    second.join();
    QCoreApplication::processEvents();
    EXPECT_THAT(names, testing::IsSupersetOf({"a/b", "a/c", "a/last"}));
    EXPECT_THAT(callers, testing::Each(std::this_thread::get_id()));
}

TEST_F(InThreadOf, DeliversAllNamesOfAWakeUp) {
    int events = 0;
    QueuedListener const changes{"a",
                                 [&events, run = inThreadOf(object.get())](std::function<void()> task) {
                                     ++events;
                                     run(std::move(task));
                                 },
                                 note()};
    write("a/c", 1);
    write("a/b", 1);
    write("a/c", 2);
    QCoreApplication::processEvents();
    EXPECT_EQ(1, events);
    EXPECT_THAT(names, ElementsAre("a/b", "a/c"));
}

TEST_F(InThreadOf, DeliversWithNoLockHeld) {
    bool isFree = false;
    QueuedListener const changes{"a", inThreadOf(object.get()),
                                 [&](std::string const&) { isFree = support::lockIsFree(); }};
    write("a/b", 1);
    QCoreApplication::processEvents();
    EXPECT_TRUE(isFree);
}

TEST_F(InThreadOf, PassesTheValueOfTheProperty) {
    Property<QString> const font{"a/font", QStringLiteral("Monospace")};
    std::vector<QString> fonts;
    QueuedListener const changes{font, inThreadOf(object.get()),
                                 [&](QString const& value) { fonts.push_back(value); }};
    font.set(QStringLiteral("Serif"));
    font.set(QStringLiteral("Sans"));
    QCoreApplication::processEvents();
    font.reset();
    QCoreApplication::processEvents();
    EXPECT_THAT(fonts, ElementsAre(QStringLiteral("Sans"), QStringLiteral("Monospace")));
}

TEST_F(InThreadOf, CallsNothingOnceTheListenerIsDestroyed) {
    std::optional<QueuedListener> changes;
    changes.emplace("a", inThreadOf(object.get()), note());
    write("a/b", 1);
    changes.reset();
    QCoreApplication::processEvents();
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(InThreadOf, CallsNothingOnceTheObjectIsDestroyed) {
    QueuedListener const changes{"a", inThreadOf(object.get()), note()};
    write("a/b", 1);
    object.reset();
    QCoreApplication::processEvents();
    write("a/c", 1);
    QCoreApplication::processEvents();
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(InThreadOf, DropsTasksOnceTheObjectIsDestroyed) {
    Executor const executor = inThreadOf(object.get());
    object.reset();
    auto const held = std::make_shared<int>();
    executor([held] {});
    EXPECT_EQ(1, held.use_count());
}

TEST_F(InThreadOf, LetsTheHandlerDestroyTheObject) {
    QueuedListener const changes{"a", inThreadOf(object.get()), [this](std::string const& changed) {
                                     names.push_back(changed);
                                     object.reset();
                                 }};
    write("a/b", 1);
    QCoreApplication::processEvents();
    write("a/c", 1);
    QCoreApplication::processEvents();
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(InThreadOf, LetsTheHandlerDestroyTheListener) {
    std::optional<QueuedListener> changes;
    changes.emplace("a", inThreadOf(object.get()), [&](std::string const& changed) {
        names.push_back(changed);
        changes.reset();
    });
    write("a/b", 1);
    write("a/c", 1);
    QCoreApplication::processEvents();
    EXPECT_THAT(names, ElementsAre("a/b"));
}

TEST_F(InThreadOf, FollowsTheObjectToAnotherThread) {
    support::EventLoop const loop;
    QueuedListener const changes{"a", inThreadOf(object.get()), note()};
    write("a/b", 1);
    object->moveToThread(loop.object()->thread());
    std::thread::id thread;
    loop.run([&thread] { thread = std::this_thread::get_id(); });
    write("a/c", 1);
    loop.run([this] { object->moveToThread(QCoreApplication::instance()->thread()); });
    write("a/d", 1);
    QCoreApplication::processEvents();
    EXPECT_THAT(names, ElementsAre("a/b", "a/c", "a/d"));
    EXPECT_THAT(callers, ElementsAre(thread, thread, std::this_thread::get_id()));
}

TEST_F(InThreadOf, MayBeCopiedAndServeSeveralListeners) {
    Executor const executor = inThreadOf(object.get());
    QueuedListener const first{"a", executor, note()};
    QueuedListener const second{"b", executor, note()};
    write("a/x", 1);
    write("b/x", 1);
    QCoreApplication::processEvents();
    EXPECT_THAT(names, ElementsAre("a/x", "b/x"));
}

TEST_F(InThreadOf, DoesNotUseTheObjectOnceTheListenerIsDestroyed) {
    auto const held = std::make_shared<int>();
    {
        QueuedListener const changes{"a", inThreadOf(object.get()), [held](std::string const&) {}};
    }
    object.reset();
    EXPECT_EQ(1, held.use_count());
}

TEST_F(InThreadOf, RefusesANullObject) {
    EXPECT_EQ("inThreadOf: the object is null", failure([] { static_cast<void>(inThreadOf(nullptr)); }));
}
