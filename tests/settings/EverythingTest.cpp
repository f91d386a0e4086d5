// SPDX-License-Identifier: Apache-2.0
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem/TreeImage.h>
#include <utils/properties/Register.h>
#include <velmorand/Changes.h>
#include <velmorand/Group.h>
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
using Names = std::vector<std::string>;

_Register& theRegister() {
    return *_Register::getInstance();
}

auto noteIn(Names& names) {
    return [&names](std::string const& name) { names.push_back(name); };
}

/** A listener to everything that is created when some settings already exist. */
class Everything : public testing::Test {
protected:
    Everything() {
        write("old/x", 1);
        write("old", 1, SCOPE_TEMPORARY);
        write("single", 1, SCOPE_GLOBAL);
        listener = Listener{everything, noteIn(names)};
    }

    /** The names notified since the last call. */
    Names heard() { return std::exchange(names, {}); }

    Names names;
    Listener listener;
};

std::size_t numberOfEntries() {
    auto const entries = &support::RegisterProbe::_callbacks;
    return (theRegister().*entries).size();
}

} // namespace

TEST_F(Everything, IncludesAChangeInAnExistingGroup) {
    write("old/x", 2);
    write("old/new/y", 2);
    EXPECT_THAT(heard(), ElementsAre("old/x", "old/new/y"));
}

TEST_F(Everything, IncludesAChangeInANewGroup) {
    write("new/x", 1);
    write("new/x", 2);
    write("new/y", 1);
    EXPECT_THAT(heard(), ElementsAre("new/x", "new/x", "new/y"));
}

TEST_F(Everything, IncludesAPropertyWithoutAGroup) {
    write("single", 2, SCOPE_GLOBAL);
    write("another", 1);
    write("another", 2);
    EXPECT_THAT(heard(), ElementsAre("single", "another", "another"));
}

TEST_F(Everything, IncludesEveryScope) {
    write("global/x", 1, SCOPE_GLOBAL);
    write("temporary/x", 1, SCOPE_TEMPORARY);
    write("global/x", 1, SCOPE_USER);
    EXPECT_THAT(heard(), ElementsAre("global/x", "temporary/x", "global/x"));
}

TEST_F(Everything, IncludesWritesOfTheRegister) {
    theRegister()._writeInteger(nullptr, "old/x", 2, SCOPE_USER);
    theRegister()._writeStrings(nullptr, "new/x", {"1"}, SCOPE_USER);
    EXPECT_THAT(heard(), ElementsAre("old/x", "new/x"));
}

TEST_F(Everything, IncludesEachNameOnceInAnySpelling) {
    for (char const* const name : {"/a/x", "//b//x", "c//x", "d/", "/e", "//f", "g//", "/old/x", "old//x"}) {
        theRegister()._writeInteger(nullptr, name, 1, SCOPE_USER);
        EXPECT_THAT(heard(), ElementsAre(name));
    }
}

TEST_F(Everything, IncludesMarkedChanges) {
    theRegister().addProperty("new/x", SCOPE_USER);
    theRegister().addGroup("group", SCOPE_USER);
    theRegister().markAsChanged(nullptr, "new/x");
    theRegister().markAsChanged(nullptr, "group");
    EXPECT_THAT(heard(), ElementsAre("new/x", "group"));
}

TEST_F(Everything, IncludesAnOverrideOfANameThatNoScopeHas) {
    Property<int> const setting{"fresh/x", 1};
    setting.override(5);
    EXPECT_THAT(heard(), ElementsAre("fresh/x"));
    setting.clearOverride();
    EXPECT_THAT(heard(), ElementsAre("fresh/x"));
}

TEST_F(Everything, IncludesARemoval) {
    Property<int> const single{"topmost"};
    single.set(1);
    heard();
    single.reset();
    Group("old").remove();
    EXPECT_THAT(heard(), ElementsAre("topmost", "old/x"));
}

TEST_F(Everything, IncludesARecreatedNameOnlyOnce) {
    Group("old").remove();
    theRegister().delProperty("single", SCOPE_GLOBAL);
    heard();
    write("old/x", 1);
    write("single", 1);
    EXPECT_THAT(heard(), ElementsAre("old/x", "single"));
}

TEST_F(Everything, IncludesChangesOfPropertiesLoadedFromAFile) {
    auto const image = filesystem::TreeImage::of(theRegister(), "/user");
    theRegister().delProperty("old", SCOPE_USER);
    listener = Listener();
    theRegister().delProperty("", SCOPE_TEMPORARY);
    listener = Listener{everything, noteIn(names)};
    image.putInto(theRegister(), "/user");
    write("old/x", 2);
    image.putInto(theRegister(), "/temp");
    write("old/x", 3);
    EXPECT_THAT(heard(), ElementsAre("old/x", "old/x"));
}

TEST_F(Everything, IncludesChangesMadeTogether) {
    Changes changes;
    changes.write("new/x", 1);
    changes.write("another", 1);
    changes.reset("old/x");
    changes.apply();
    EXPECT_THAT(heard(), ElementsAre("another", "new/x", "old/x"));
    write("new/x", 2);
    EXPECT_THAT(heard(), ElementsAre("new/x"));
}

TEST_F(Everything, IncludesALaterChangeAfterAFailedTransaction) {
    Changes changes;
    changes.write("new/x", 1);
    changes.write("old", 1); // is a group
    EXPECT_NE("nothing", failure([&] { changes.apply(); }));
    EXPECT_THAT(heard(), IsEmpty());
    write("new/x", 2);
    EXPECT_THAT(heard(), ElementsAre("new/x"));
}

TEST_F(Everything, SkipsItsSender) {
    int sender = 0;
    listener = Listener{everything, noteIn(names), &sender};
    write("new/x", 1, SCOPE_USER, &sender);
    write("old/x", 1, SCOPE_USER, &sender);
    write("new/x", 2, SCOPE_USER, this);
    EXPECT_THAT(heard(), ElementsAre("new/x"));
}

TEST_F(Everything, IsAnnouncedOnceToEachListener) {
    Names second;
    Names third;
    Listener const early{everything, noteIn(second)};
    write("new/x", 1);
    Listener const late{everything, noteIn(third)};
    write("new/x", 2);
    write("newer/x", 1);
    EXPECT_THAT(heard(), ElementsAre("new/x", "new/x", "newer/x"));
    EXPECT_THAT(second, ElementsAre("new/x", "new/x", "newer/x"));
    EXPECT_THAT(third, ElementsAre("new/x", "newer/x"));
}

TEST_F(Everything, IsAnnouncedToTheRemainingListenersWhenOneIsDestroyed) {
    {
        Listener const early{everything, [](std::string const&) {}};
    }
    write("new/x", 1);
    write("old/x", 1);
    EXPECT_THAT(heard(), ElementsAre("new/x", "old/x"));
}

TEST_F(Everything, LeavesNoEntriesOnceTheListenerIsDestroyed) {
    write("new/x", 1);
    listener = Listener();
    write("newer/x", 1);
    EXPECT_EQ(0U, numberOfEntries());
    EXPECT_THAT(heard(), ElementsAre("new/x"));
}

TEST_F(Everything, MayBeListenedToAgainWithoutMissingGroups) {
    listener = Listener();
    write("meanwhile/x", 1);
    listener = Listener{everything, noteIn(names)};
    write("meanwhile/x", 2);
    write("new/x", 1);
    EXPECT_THAT(heard(), ElementsAre("meanwhile/x", "new/x"));
}

TEST_F(Everything, AllowsRemovingTheListenerInsideTheCall) {
    std::optional<Listener> leaving;
    Names last;
    leaving.emplace(everything, [&](std::string const& name) {
        last.push_back(name);
        leaving.reset();
    });
    write("new/x", 1);
    write("newer/x", 1);
    EXPECT_THAT(last, ElementsAre("new/x"));
    EXPECT_THAT(heard(), ElementsAre("new/x", "newer/x"));
}

TEST_F(Everything, AllowsAddingAListenerInsideTheCall) {
    std::optional<Listener> joining;
    Names later;
    Listener const starter{"new", [&](std::string const&) {
                               if (!joining)
                                   joining.emplace(everything, noteIn(later));
                           }};
    write("new/x", 1);
    write("new/x", 2);
    EXPECT_THAT(later, ElementsAre("new/x"));
}

TEST_F(Everything, IncludesAListenersChangeInANewGroup) {
    Listener const follower{"new", [](std::string const&) { write("log/x", 1); }};
    write("new/x", 1);
    EXPECT_THAT(heard(), testing::UnorderedElementsAre("new/x", "log/x"));
}

TEST_F(Everything, HasTheEmptyKeyInAnySpelling) {
    for (std::string const& key : {std::string(), std::string("/"), std::string("//"), Group().name()}) {
        Names all;
        Listener const same{key, noteIn(all)};
        write("old/x", 1);
        write("single", 1);
        EXPECT_THAT(all, ElementsAre("old/x", "single"));
    }
}

TEST_F(Everything, IsCollectedByAQueuedListener) {
    QueuedListener changes{everything};
    write("new/x", 1);
    write("single", 1);
    Names delivered;
    changes.deliver(noteIn(delivered));
    EXPECT_THAT(delivered, ElementsAre("new/x", "single"));
}

TEST_F(Everything, IsAnnouncedInAForkedChild) {
    EXPECT_EQ(0, inChild([this] {
                  write("new/x", 1);
                  write("old/x", 1);
                  EXPECT_THAT(heard(), ElementsAre("new/x", "old/x"));
              }));
}

TEST_F(Everything, DoesNotBlockAChildForkedWithTheLockHeld) {
    _Register& settings = theRegister();
    std::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
    EXPECT_EQ(0, inChild([&] { settings.mkdir(QStringLiteral("/user/new")); }, support::Leave::atOnce));
}

TEST_F(Everything, IsAnnouncedDuringTheExit) {
    EXPECT_EQ(0, inChild([this] {
                  struct Writer {
                      ~Writer() {
                          write("exit/x", 1, SCOPE_TEMPORARY);
                          if (*names != Names{"exit/x"})
                              std::_Exit(9);
                      }
                      Names* names;
                  };
                  static std::optional<Listener> outliving; // destroyed after the writer
                  static Names late;
                  outliving.emplace(everything, noteIn(late));
                  static Writer const writer{&late};
                  listener = Listener();
              }));
}

TEST(EverythingBeforeTheRegister, ListenersMayOutliveIt) {
    EXPECT_EQ(0, inChild([] {
                  static std::optional<Listener> listener; // destroyed after the register
                  theRegister();
                  listener.emplace(everything, [](std::string const&) {});
                  write("a/b", 1, SCOPE_TEMPORARY);
              }));
}

TEST(EverythingOfManyNames, IsAnnounced) {
    for (int i = 0; i < 20'000; ++i)
        write("name " + std::to_string(i), i, SCOPE_TEMPORARY);
    Names names;
    Listener const listener{everything, noteIn(names)};
    write("name 12345", 0, SCOPE_TEMPORARY);
    write("name 20000", 0, SCOPE_TEMPORARY);
    EXPECT_THAT(names, ElementsAre("name 12345", "name 20000"));
}
