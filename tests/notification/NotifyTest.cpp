// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"

namespace {

using forms::outcome;
using forms::pending;
using notification::Journal;
using notification::Listener;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

template <class Form>
class Notify : public forms::Test<Form> {
protected:
    /** Registers a listener under each of the keys, in this order. The journal names it by its key. */
    void listenUnder(std::vector<std::string> const& keys) {
        for (std::string const& key : keys) {
            _listeners.push_back(std::make_unique<Listener>(journal, key));
            this->settings.addCallback(key, _listeners.back().get());
        }
    }

    /** Announces the change of a name. Result: the journal, with this announcement only. */
    Journal const& change(std::string const& name) {
        journal.clear();
        this->settings.markAsChanged(nullptr, name);
        return journal;
    }

    void TearDown() override {
        for (auto const& listener : _listeners)
            this->settings.removeCallback(listener.get());
    }

    Journal journal;

private:
    std::vector<std::unique_ptr<Listener>> _listeners;
};
TYPED_TEST_SUITE(Notify, forms::Both, forms::Names);

TYPED_TEST(Notify, NotifiesThePropertyThenItsGroupsInnermostFirst) {
    this->listenUnder({"g", "g/h", "g/h/p"});
    EXPECT_THAT(this->change("g/h/p"), ElementsAre("g/h/p: g/h/p", "g/h: g/h/p", "g: g/h/p"));
}

TYPED_TEST(Notify, NotifiesAGroupOfEveryChangeInIt) {
    this->listenUnder({"g/h"});
    EXPECT_THAT(this->change("g/h/p"), ElementsAre("g/h: g/h/p"));
    EXPECT_THAT(this->change("g/h/k/p"), ElementsAre("g/h: g/h/k/p"));
}

TYPED_TEST(Notify, NotifiesTheGroupsOfANameOfManyLevels) {
    for (std::string const start : {"", "/", "//"}) {
        std::string name = start;
        for (int level = 0; level < 1'000; ++level)
            name += level % 10 == 9 ? "m//" : "m/";
        name += 'n';
        std::vector<std::string> expected;
        for (std::size_t slash = name.size(), level = 0; slash != 0 && slash != std::string::npos; ++level) {
            std::string const group = name.substr(0, slash);
            // Listens to some of the groups, and to keys that sort next to half of them but are not groups of the name.
            if (level % 97 == 0 || slash < 4) {
                this->listenUnder({group});
                if (level % 2 == 0)
                    this->listenUnder({group + "/a", group + "/z", group + 'm', group + '!'});
                expected.push_back(std::string(group).append(": ").append(name));
            }
            slash = name.rfind('/', slash - 1);
        }
        if (start == "/") {
            this->listenUnder({"/"});
            expected.push_back("/: " + name);
        }
        EXPECT_THAT(this->change(name), testing::ElementsAreArray(expected)) << start;
        this->TearDown();
    }
}

TYPED_TEST(Notify, CallsNoListenerOfAnotherNameForANameOfManyLevels) {
    this->listenUnder({"z"}); // sorts after the name and all its groups
    std::string name = "m";
    for (int level = 0; level < 1'000; ++level)
        name += "/m";
    EXPECT_THAT(this->change(name), IsEmpty());
    EXPECT_THAT(this->change('/' + name), IsEmpty());
}

TYPED_TEST(Notify, PassesOverKeysThatSortBetweenANameAndItsGroups) {
    this->listenUnder({"g", "g!", "g/", "g/a", "g/h!", "g/h/a", "g/h/o", "g/h/p!", "g/h0"});
    EXPECT_THAT(this->change("g/h/p"), ElementsAre("g: g/h/p"));
    this->listenUnder({"g/h"});
    EXPECT_THAT(this->change("g/h/p"), ElementsAre("g/h: g/h/p", "g: g/h/p"));
    EXPECT_THAT(this->change("g/h/k/p"), ElementsAre("g/h: g/h/k/p", "g: g/h/k/p"));
}

TYPED_TEST(Notify, DoesNotTreatAPrefixAsAGroup) {
    this->listenUnder({"g", "g/h"});
    EXPECT_THAT(this->change("gh"), IsEmpty());
    EXPECT_THAT(this->change("gh/h"), IsEmpty());
    EXPECT_THAT(this->change("g/hh"), ElementsAre("g: g/hh"));
    EXPECT_THAT(this->change("h"), IsEmpty());
}

TYPED_TEST(Notify, DoesNotNotifyAPropertyOfOtherChangesInItsGroup) {
    this->listenUnder({"g/h/p"});
    EXPECT_THAT(this->change("g/h"), IsEmpty());
    EXPECT_THAT(this->change("g/h/q"), IsEmpty());
}

TYPED_TEST(Notify, ComparesKeysByTheirBytes) {
    this->listenUnder({"G", "g*", "\xC5\xBE"});
    EXPECT_THAT(this->change("g"), IsEmpty());
    EXPECT_THAT(this->change("gg"), IsEmpty());
    EXPECT_THAT(this->change("\xC5\xBE/\xE2\x98\x83"), ElementsAre("\xC5\xBE: \xC5\xBE/\xE2\x98\x83"));
}

TYPED_TEST(Notify, MatchesAKeyWithATrailingSlashOnlyByExactlyThatName) {
    this->listenUnder({"g/h/", "g/h"});
    EXPECT_THAT(this->change("g/h/p"), ElementsAre("g/h: g/h/p"));
    EXPECT_THAT(this->change("g/h"), ElementsAre("g/h: g/h"));
    EXPECT_THAT(this->change("g/h/"), ElementsAre("g/h/: g/h/", "g/h: g/h/"));
}

TYPED_TEST(Notify, NotifiesThePrefixBeforeEachOfTwoSlashes) {
    this->listenUnder({"a", "a/", "a//", "a//b"});
    EXPECT_THAT(this->change("a//b"), ElementsAre("a//b: a//b", "a/: a//b", "a: a//b"));
}

TYPED_TEST(Notify, NotifiesTheSlashLastForANameThatBeginsWithIt) {
    this->listenUnder({"/", "/g", "/g/h", ""});
    EXPECT_THAT(this->change("/g/h"), ElementsAre("/g/h: /g/h", "/g: /g/h", "/: /g/h"));
}

TYPED_TEST(Notify, NotifiesTheSlashOnlyOfNamesThatBeginWithOne) {
    this->listenUnder({"/"});
    EXPECT_THAT(this->change("g/h"), IsEmpty());
    EXPECT_THAT(this->change("g/"), IsEmpty());
    EXPECT_THAT(this->change("/g"), ElementsAre("/: /g"));
    EXPECT_THAT(this->change("//"), ElementsAre("/: //"));
}

TYPED_TEST(Notify, AnnouncesTheSlashItselfOnce) {
    this->listenUnder({"/"});
    EXPECT_THAT(this->change("/"), ElementsAre("/: /"));
}

TYPED_TEST(Notify, NotifiesOnlyThePropertyForANameOfOneCharacter) {
    this->listenUnder({"g", "/", ""});
    EXPECT_THAT(this->change("g"), ElementsAre("g: g"));
}

TYPED_TEST(Notify, CallsNoListenerForTheEmptyName) {
    this->listenUnder({"", "/"});
    EXPECT_THAT(this->change(""), IsEmpty());
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, ClearsThePendingNamesEvenWithoutListeners) {
    pending(this->settings) = {"a", "b/c"};
    this->settings.notify(nullptr);
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, DoesNothingWhenNothingIsPending) {
    this->listenUnder({"a", "", "/"});
    this->settings.notify(nullptr);
    EXPECT_THAT(this->journal, IsEmpty());
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(Notify, AnnouncesPendingNamesInByteOrderEachToItsOwnGroups) {
    this->listenUnder({"a", "a/x", "b", "B", "\xC5\xBE"});
    pending(this->settings) = {"b/x", "a/x", "\xC5\xBE", "a", "B/x"};
    this->settings.notify(nullptr);
    EXPECT_THAT(this->journal,
                ElementsAre("B: B/x", "a: a", "a/x: a/x", "a: a/x", "b: b/x", "\xC5\xBE: \xC5\xBE"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, CallsTheListenersOfAKeyInTheOrderTheyWereAdded) {
    Listener third(this->journal, "third");
    Listener first(this->journal, "first");
    Listener second(this->journal, "second");
    for (Listener* listener : {&first, &second, &third})
        this->settings.addCallback("x", listener);
    EXPECT_THAT(this->change("x"), ElementsAre("first: x", "second: x", "third: x"));
    for (Listener* listener : {&first, &second, &third})
        this->settings.removeCallback(listener);
}

TYPED_TEST(Notify, CallsAListenerOnceForEachOfItsEntries) {
    Listener listener(this->journal, "listener");
    for (char const* key : {"a/x", "a/x", "a", "b"})
        this->settings.addCallback(key, &listener);
    EXPECT_THAT(this->change("a/x"), ElementsAre("listener: a/x", "listener: a/x", "listener: a/x"));
    EXPECT_EQ(3, listener.asked);
    this->settings.removeCallback(&listener);
}

TYPED_TEST(Notify, SkipsTheListenersOfTheSender) {
    int party = 0;
    Listener own(this->journal, "own");
    Listener alsoOwn(this->journal, "also own");
    Listener foreign(this->journal, "foreign");
    own.identity = alsoOwn.identity = &party;
    for (Listener* listener : {&own, &foreign, &alsoOwn})
        this->settings.addCallback("x", listener);
    this->settings.markAsChanged(&party, "x");
    EXPECT_THAT(this->journal, ElementsAre("foreign: x"));
    this->settings.markAsChanged(&foreign, "x");
    EXPECT_THAT(this->journal, ElementsAre("foreign: x", "own: x", "also own: x"));
    for (Listener* listener : {&own, &foreign, &alsoOwn})
        this->settings.removeCallback(listener);
}

TYPED_TEST(Notify, SkipsTheSendersListenersForEveryPendingName) {
    Listener listener(this->journal, "listener");
    this->settings.addCallback("a", &listener);
    pending(this->settings) = {"a/x", "a/y"};
    this->settings.notify(listener.identity);
    EXPECT_THAT(this->journal, IsEmpty());
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&listener);
}

TYPED_TEST(Notify, CallsAListenerWithANullOwnerUnlessTheSenderIsNull) {
    Listener listener(this->journal, "listener");
    listener.identity = nullptr;
    this->settings.addCallback("x", &listener);
    this->settings.markAsChanged(nullptr, "x");
    EXPECT_THAT(this->journal, IsEmpty());
    this->settings.markAsChanged(&listener, "x");
    EXPECT_THAT(this->journal, ElementsAre("listener: x"));
    this->settings.removeCallback(&listener);
}

TYPED_TEST(Notify, QueriesTheOwnerBeforeEachCall) {
    Listener listener(this->journal, "told");
    listener.whenAsked = [this] { this->journal.push_back("asked"); };
    this->settings.addCallback("a/x", &listener);
    this->settings.addCallback("a", &listener);
    EXPECT_THAT(this->change("a/x"), ElementsAre("asked", "told: a/x", "asked", "told: a/x"));
    this->settings.removeCallback(&listener);
}

TYPED_TEST(Notify, DoesNotDistinguishScopes) {
    this->listenUnder({"a"});
    this->settings._writeInteger(nullptr, "a/x", 1, SCOPE_GLOBAL);
    this->settings._writeInteger(nullptr, "a/x", 2, SCOPE_USER);
    this->settings._writeInteger(nullptr, "a/x", 3, SCOPE_TEMPORARY);
    EXPECT_THAT(this->journal, ElementsAre("a: a/x", "a: a/x", "a: a/x"));
}

TYPED_TEST(Notify, IsNotCausedByCreatingAndRemovingProperties) {
    this->listenUnder({"a", "a/x"});
    this->settings.addProperty("a/x", SCOPE_USER);
    this->settings.delProperty("a/x", SCOPE_USER);
    this->settings.delProperty("a", SCOPE_USER);
    EXPECT_THAT(this->journal, IsEmpty());
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, HoldsTheLockWhileOwnersAreQueriedAndListenersCalled) {
    Listener listener;
    bool freeWhenAsked = true;
    bool freeWhenTold = true;
    listener.whenAsked = [&] { freeWhenAsked = support::lockIsFree(); };
    listener.whenTold = [&](std::string const& /*name*/) { freeWhenTold = support::lockIsFree(); };
    this->settings.addCallback("x", &listener);
    this->settings.markAsChanged(nullptr, "x");
    this->settings.removeCallback(&listener);
    EXPECT_FALSE(freeWhenAsked);
    EXPECT_FALSE(freeWhenTold);
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(Notify, PassesANameThatOutlivesANestedAnnouncement) {
    std::string const name(100, 'n');
    Listener listener;
    listener.whenTold = [this](std::string const& /*name*/) { this->settings.notify(nullptr); };
    Listener next;
    this->settings.addCallback(name, &listener);
    this->settings.addCallback(name, &next);
    this->settings.markAsChanged(nullptr, name);
    this->settings.removeCallback(&listener);
    this->settings.removeCallback(&next);
    EXPECT_THAT(next.told, ElementsAre(name));
}

TYPED_TEST(Notify, KeepsTheNamesPendingUntilTheLastListenerHasBeenCalled) {
    std::vector<std::set<std::string>> seen;
    Listener listener;
    listener.whenAsked = [&] { seen.push_back(pending(this->settings)); };
    listener.whenTold = [&](std::string const& /*name*/) { seen.push_back(pending(this->settings)); };
    this->settings.addCallback("a", &listener);
    this->settings.addCallback("b", &listener);
    pending(this->settings) = {"a", "b", "c"};
    this->settings.notify(nullptr);
    this->settings.removeCallback(&listener);
    EXPECT_THAT(seen, ElementsAre(ElementsAre("a", "b", "c"), ElementsAre("a", "b", "c"),
                                  ElementsAre("a", "b", "c"), ElementsAre("a", "b", "c")));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, KeepsTheNameOfAWritePendingUntilTheLastListenerHasBeenCalled) {
    std::set<std::string> seen;
    Listener listener;
    listener.whenTold = [&](std::string const& /*name*/) { seen = pending(this->settings); };
    this->settings.addCallback("a", &listener);
    this->settings._writeInteger(nullptr, "a/x", 1, SCOPE_USER);
    this->settings.removeCallback(&listener);
    EXPECT_THAT(seen, ElementsAre("a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, KeepsTheNameOfAMarkedChangePendingUntilTheLastListenerHasBeenCalled) {
    std::set<std::string> seen;
    Listener listener;
    listener.whenTold = [&](std::string const& /*name*/) { seen = pending(this->settings); };
    this->settings.addCallback("a", &listener);
    this->settings.markAsChanged(nullptr, "a/x");
    this->settings.removeCallback(&listener);
    EXPECT_THAT(seen, ElementsAre("a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Notify, AnnouncesAnEqualNameAgain) {
    this->listenUnder({"x"});
    EXPECT_THAT(this->change("x"), ElementsAre("x: x"));
    EXPECT_THAT(this->change("x"), ElementsAre("x: x"));
}

template <class Form>
class MarkAsChanged : public forms::Test<Form> {};
TYPED_TEST_SUITE(MarkAsChanged, forms::Both, forms::Names);

TYPED_TEST(MarkAsChanged, AnnouncesEverythingThatIsPending) {
    Listener listener;
    this->settings.addCallback("a", &listener);
    pending(this->settings) = {"a/z"};
    this->settings.markAsChanged(nullptr, "a/x");
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("a/x", "a/z"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(MarkAsChanged, AnnouncesAnAlreadyPendingNameOnce) {
    Listener listener;
    this->settings.addCallback("a/x", &listener);
    pending(this->settings) = {"a/x"};
    this->settings.markAsChanged(nullptr, "a/x");
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("a/x"));
}

TYPED_TEST(MarkAsChanged, SkipsTheListenersOfItsSender) {
    Listener listener;
    this->settings.addCallback("x", &listener);
    this->settings.markAsChanged(listener.identity, "x");
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, IsEmpty());
}

TYPED_TEST(MarkAsChanged, DoesNotRequireAPropertyOfThatName) {
    Listener listener;
    this->settings.addCallback("nowhere", &listener);
    this->settings.markAsChanged(nullptr, "nowhere/x");
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("nowhere/x"));
    EXPECT_FALSE(this->settings.propertyExists("nowhere"));
}

template <class Form>
class ThrowingListener : public forms::Test<Form> {
protected:
    ThrowingListener() {
        this->settings.addCallback("b", &before);
        this->settings.addCallback("b", &throwing);
        this->settings.addCallback("b", &after);
        pending(this->settings) = {"a", "b", "c"};
    }
    ~ThrowingListener() override {
        for (Listener* listener : {&before, &throwing, &after})
            this->settings.removeCallback(listener);
    }

    /** Announces the pending names; the listener in the middle throws. */
    void expectThrow() {
        EXPECT_EQ("not now", outcome([this] { this->settings.notify(nullptr); }));
        EXPECT_THAT(pending(this->settings), ElementsAre("a", "b", "c"));
        EXPECT_TRUE(support::lockIsFree());
    }

    /** Announces them again, when no listener throws any more. */
    void expectWholeAnnouncement() {
        journal.clear();
        throwing.whenTold = nullptr;
        throwing.whenAsked = nullptr;
        this->settings.notify(nullptr);
        EXPECT_THAT(journal, ElementsAre("before: b", "throwing: b", "after: b"));
        EXPECT_THAT(pending(this->settings), IsEmpty());
    }

    Journal journal;
    Listener before{journal, "before"};
    Listener throwing{journal, "throwing"};
    Listener after{journal, "after"};
};
TYPED_TEST_SUITE(ThrowingListener, forms::Both, forms::Names);

TYPED_TEST(ThrowingListener, LeavesEveryNamePendingForTheNextAnnouncement) {
    this->throwing.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->expectThrow();
    EXPECT_THAT(this->journal, ElementsAre("before: b", "throwing: b"));
    this->expectWholeAnnouncement();
}

TYPED_TEST(ThrowingListener, LeavesEveryNamePendingEvenIfQueryingItsOwnerThrows) {
    this->throwing.whenAsked = [] { throw std::runtime_error("not now"); };
    this->expectThrow();
    EXPECT_THAT(this->journal, ElementsAre("before: b"));
    this->expectWholeAnnouncement();
}

TYPED_TEST(ThrowingListener, IsCalledAgainWithTheNextChange) {
    this->throwing.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->expectThrow();
    this->journal.clear();
    this->throwing.whenTold = nullptr;
    this->settings._writeInteger(nullptr, "elsewhere", 1, SCOPE_USER);
    EXPECT_THAT(this->journal, ElementsAre("before: b", "throwing: b", "after: b"));
}

TYPED_TEST(ThrowingListener, MayThrowAnything) {
    this->throwing.whenTold = [](std::string const& /*name*/) { throw 42; };
    EXPECT_THROW(this->settings.notify(nullptr), int);
    EXPECT_THAT(pending(this->settings), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(support::lockIsFree());
    this->expectWholeAnnouncement();
}

TYPED_TEST(ThrowingListener, IsNotCalledAfterItIsRemoved) {
    this->throwing.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->expectThrow();
    this->settings.removeCallback(&this->throwing);
    this->journal.clear();
    this->settings.notify(nullptr);
    EXPECT_THAT(this->journal, ElementsAre("before: b", "after: b"));
}

} // namespace
