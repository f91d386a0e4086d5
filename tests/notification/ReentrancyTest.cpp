// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"

// Listeners that change the register or its listeners while they are being called.

namespace {

using forms::outcome;
using forms::pending;
using notification::Journal;
using notification::Listener;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::properties::_Register;
using utils::properties::SCOPE_USER;

/** Three listeners under the property "a/x", called in this order, and one under its group "a". */
template <class Form>
class Reentrancy : public forms::Test<Form> {
protected:
    Reentrancy() {
        for (Listener* listener : {&first, &second, &third})
            this->settings.addCallback("a/x", listener);
        this->settings.addCallback("a", &group);
    }
    ~Reentrancy() override {
        for (Listener* listener : {&first, &second, &third, &group})
            this->settings.removeCallback(listener);
    }

    /** Announces "a/x". Result: the journal. */
    Journal const& change() {
        journal.clear();
        this->settings.markAsChanged(nullptr, "a/x");
        return journal;
    }

    /** Sets an action for the first time that a listener is called. */
    template <class Action>
    static void once(Listener& listener, Action action) {
        listener.whenTold = [action, left = 1](std::string const& /*name*/) mutable {
            if (left-- > 0)
                action();
        };
    }

    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
    Listener third{journal, "third"};
    Listener group{journal, "group"};
};
TYPED_TEST_SUITE(Reentrancy, forms::Both, forms::Names);

TYPED_TEST(Reentrancy, AListenerMayRemoveItself) {
    this->once(this->second, [this] { this->settings.removeCallback(&this->second); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerMayRemoveItselfFromItsKey) {
    this->once(this->first, [this] { this->settings.removeCallback("a/x", &this->first); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(), ElementsAre("second: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, TheLastListenerMayRemoveItself) {
    this->once(this->third, [this] { this->settings.removeCallback(&this->third); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerThatIsRemovedBeforeItsTurnIsNotCalled) {
    this->once(this->first, [this] { this->settings.removeCallback("a/x", &this->second); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerOfAGroupThatIsRemovedBeforeItsTurnIsNotCalled) {
    this->once(this->second, [this] { this->settings.removeCallback(&this->group); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x"));
}

TYPED_TEST(Reentrancy, RemovingAListenerThatHasBeenCalledDoesNotAffectTheRest) {
    this->once(this->second, [this] { this->settings.removeCallback(&this->first); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerMayRemoveAllListeners) {
    this->once(this->first, [this] {
        for (Listener* listener : {&this->first, &this->second, &this->third, &this->group})
            this->settings.removeCallback(listener);
    });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x"));
    EXPECT_THAT(this->change(), IsEmpty());
}

TYPED_TEST(Reentrancy, AllEntriesOfARemovedListenerAreSkipped) {
    this->settings.addCallback("a/x", &this->second);
    this->settings.addCallback("a", &this->second);
    this->once(this->first, [this] { this->settings.removeCallback(&this->second); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerThatIsRemovedWhileItsOwnerIsQueriedIsNotCalled) {
    this->second.whenAsked = [this] { this->settings.removeCallback(&this->second); };
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AnEntryAddedUnderTheSameKeyIsCalledFromTheNextChangeOn) {
    Listener late(this->journal, "late");
    this->once(this->first, [this, &late] { this->settings.addCallback("a/x", &late); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "late: a/x", "group: a/x"));
    this->settings.removeCallback(&late);
}

TYPED_TEST(Reentrancy, AnEntryAddedByTheLastListenerIsCalledFromTheNextChangeOn) {
    this->once(this->group, [this] { this->settings.addCallback("a", &this->group); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerThatIsRemovedAndAddedAgainIsCalledFromTheNextChangeOn) {
    this->once(this->first, [this] {
        this->settings.removeCallback("a/x", &this->second);
        this->settings.addCallback("a/x", &this->second);
    });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "third: a/x", "second: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AnEntryAddedUnderAnEnclosingGroupIsCalledInItsTurn) {
    Listener late(this->journal, "late");
    this->once(this->third, [this, &late] { this->settings.addCallback("a", &late); });
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x", "late: a/x"));
    this->settings.removeCallback(&late);
}

TYPED_TEST(Reentrancy, AListenerMayDeleteAnotherThatItRemoved) {
    auto victim = std::make_unique<Listener>(this->journal, "victim");
    this->settings.addCallback("a/x", victim.get());
    this->settings.addCallback("a", victim.get());
    this->once(this->first, [this, &victim] {
        this->settings.removeCallback(victim.get());
        victim.reset();
    });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AListenerMayDeleteAnotherThatHasBeenCalled) {
    auto victim = std::make_unique<Listener>(this->journal, "victim");
    this->settings.addCallback("a/x", victim.get());
    this->once(this->group, [this, &victim] {
        this->settings.removeCallback(victim.get());
        victim.reset();
    });
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "victim: a/x", "group: a/x"));
}

/** A listener for a single change. */
class OneShot : public _Register::Callback {
public:
    OneShot(_Register& settings, int& tellings) : _settings(settings), _tellings(tellings) {}

    void propertyChanged(std::string const& /*name*/) override {
        ++_tellings;
        _settings.removeCallback(this);
        delete this;
    }
    void* owner() override { return this; }

private:
    _Register& _settings;
    int& _tellings;
};

TYPED_TEST(Reentrancy, AListenerMayDeleteItselfOnceItIsRemoved) {
    int tellings = 0;
    auto oneShot = std::make_unique<OneShot>(this->settings, tellings);
    this->settings.addCallback("a/x", oneShot.get());
    this->settings.addCallback("a", oneShot.release());
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_EQ(1, tellings);
}

TYPED_TEST(Reentrancy, AChangeOfAnotherPropertyIsAnnouncedBeforeItsWriterContinues) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    this->once(this->second, [this] {
        this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER);
        this->journal.push_back("written");
    });
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "other: b", "written", "third: a/x", "group: a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, AListenerThatAlwaysWritesAnotherPropertyTerminates) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    this->second.whenTold = [this](std::string const& /*name*/) {
        this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER);
    };
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "other: b", "third: a/x", "group: a/x"));
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, AChangeInTheSameGroupIsAnnouncedToTheGroup) {
    this->once(this->first, [this] { this->settings._writeInteger(nullptr, "a/y", 7, SCOPE_USER); });
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "group: a/y", "second: a/x", "third: a/x", "group: a/x"));
}

TYPED_TEST(Reentrancy, AChangeOfThePropertyItselfIsAnnouncedAgain) {
    this->once(this->first, [this] { this->settings._writeInteger(nullptr, "a/x", 7, SCOPE_USER); });
    (void)this->change();
    EXPECT_THAT(this->first.told, ElementsAre("a/x", "a/x"));
    EXPECT_THAT(this->journal, Contains("group: a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, AChangeWithTheListenersOwnSenderIsNotAnnouncedToIt) {
    this->first.whenTold = [this](std::string const& /*name*/) {
        this->settings._writeInteger(this->first.identity, "a/x", 7, SCOPE_USER);
    };
    (void)this->change();
    EXPECT_THAT(this->first.told, ElementsAre("a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, MarkingAnotherNameAnnouncesIt) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    this->second.whenTold = [this](std::string const& /*name*/) {
        this->settings.markAsChanged(nullptr, "b");
    };
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "other: b", "third: a/x", "group: a/x"));
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, MarkingTheSameNameAnnouncesItAgain) {
    this->once(this->third, [this] { this->settings.markAsChanged(nullptr, "a/x"); });
    (void)this->change();
    EXPECT_THAT(this->third.told, ElementsAre("a/x", "a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, AnnouncingFromAListenerDoesNotRepeatTheCurrentAnnouncement) {
    for (Listener* listener : {&this->first, &this->second, &this->group})
        listener->whenTold = [this](std::string const& /*name*/) { this->settings.notify(nullptr); };
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, AnnouncingFromAListenerLosesNoPendingName) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    pending(this->settings) = {"b"};
    this->once(this->first, [this] { this->settings.notify(nullptr); });
    EXPECT_THAT(this->change(), Contains("other: b"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, AnExceptionFromANestedChangeLeavesAllNamesPending) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    other.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->once(this->second, [this] { this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER); });
    EXPECT_EQ("not now", outcome([this] { (void)this->change(); }));
    EXPECT_THAT(this->journal, ElementsAre("first: a/x", "second: a/x", "other: b"));
    EXPECT_THAT(pending(this->settings), ElementsAre("a/x", "b"));
    EXPECT_TRUE(support::lockIsFree());
    other.whenTold = nullptr;
    this->journal.clear();
    this->settings.notify(nullptr);
    EXPECT_THAT(this->journal,
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x", "other: b"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, AnExceptionThatTheListenerCatchesDoesNotEndTheOuterAnnouncement) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    other.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    std::string inner;
    this->once(this->second, [this, &inner] {
        inner = outcome([this] { this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER); });
    });
    (void)this->change();
    EXPECT_EQ("not now", inner);
    EXPECT_THAT(this->third.told, ElementsAre("a/x"));
    EXPECT_THAT(this->group.told, ElementsAre("a/x"));
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, ANestedChangeIsPendingUntilItsListenersHaveBeenCalled) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    std::set<std::string> within;
    std::set<std::string> after;
    other.whenTold = [&](std::string const& /*name*/) { within = pending(this->settings); };
    this->once(this->second, [&] {
        this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER);
        after = pending(this->settings);
    });
    (void)this->change();
    EXPECT_THAT(within, ElementsAre("a/x", "b"));
    EXPECT_THAT(after, ElementsAre("a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, ANestedChangeOfTheSameNameLeavesItPendingForTheOuterAnnouncement) {
    std::set<std::string> after;
    this->once(this->first, [&] {
        this->settings._writeInteger(nullptr, "a/x", 7, SCOPE_USER);
        after = pending(this->settings);
    });
    (void)this->change();
    EXPECT_THAT(after, ElementsAre("a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, ANestedAnnouncementLeavesTheNamesOfTheOuterAnnouncementPending) {
    std::set<std::string> after;
    pending(this->settings) = {"b"};
    this->once(this->first, [&] {
        this->settings.notify(nullptr);
        after = pending(this->settings);
    });
    (void)this->change();
    EXPECT_THAT(after, ElementsAre("a/x", "b"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, ANestedChangeDoesNotAnnounceTheOtherPendingNames) {
    Listener other(this->journal, "other");
    Listener waiting(this->journal, "waiting");
    this->settings.addCallback("b", &other);
    this->settings.addCallback("c", &waiting);
    pending(this->settings) = {"c"};
    this->once(this->first, [this] { this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "other: b", "second: a/x", "third: a/x",
                                            "group: a/x", "waiting: c"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
    this->settings.removeCallback(&waiting);
}

TYPED_TEST(Reentrancy, AChangeOfANameThatIsStillPendingIsAnnouncedTwice) {
    Listener waiting(this->journal, "waiting");
    this->settings.addCallback("c", &waiting);
    pending(this->settings) = {"c"};
    this->once(this->first, [this] { this->settings._writeInteger(nullptr, "c", 7, SCOPE_USER); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "waiting: c", "second: a/x", "third: a/x",
                                            "group: a/x", "waiting: c"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&waiting);
}

TYPED_TEST(Reentrancy, AnExceptionThatTheListenerCatchesLeavesTheNestedNamePending) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    other.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->once(this->second, [this] {
        (void)outcome([this] { this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER); });
    });
    (void)this->change();
    EXPECT_THAT(pending(this->settings), ElementsAre("b"));
    other.whenTold = nullptr;
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x", "other: b"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

TYPED_TEST(Reentrancy, NamesInsertedDuringAnAnnouncementStayPendingForTheNext) {
    this->once(this->first, [this] { pending(this->settings).insert({"a", "a/y", "z"}); });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(pending(this->settings), ElementsAre("a", "a/y", "z"));
    this->journal.clear();
    this->settings.notify(nullptr);
    EXPECT_THAT(this->journal, ElementsAre("group: a", "group: a/y"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, AnnouncementsOfAnotherRegisterAreNotMistakenForOuterOnes) {
    support::RegisterProbe another;
    Listener other(this->journal, "other");
    another.addCallback("a/x", &other);
    this->once(this->first, [&another] {
        another._changedProperties.insert("a/x");
        another.notify(nullptr);
    });
    EXPECT_THAT(this->change(),
                ElementsAre("first: a/x", "other: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_THAT(another._changedProperties, IsEmpty());
    EXPECT_THAT(pending(this->settings), IsEmpty());
    another.removeCallback(&other);
}

TYPED_TEST(Reentrancy, TheSameNameMayBeAnnouncedAtManyDepths) {
    int left = 5;
    this->first.whenTold = [this, &left](std::string const& /*name*/) {
        if (left-- > 0)
            this->settings.markAsChanged(nullptr, "a/x");
    };
    (void)this->change();
    EXPECT_EQ(6U, this->first.told.size());
    EXPECT_EQ(6U, this->group.told.size());
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Reentrancy, AListenerMayReadCreateAndRemoveProperties) {
    this->settings._writeInteger(nullptr, "a/y", 7, SCOPE_USER);
    int seen = 0;
    this->once(this->first, [this, &seen] {
        this->settings._readInteger("a/y", seen);
        this->settings.addProperty("a/z", SCOPE_USER);
        this->settings.delProperty("a/y", SCOPE_USER);
    });
    EXPECT_THAT(this->change(), ElementsAre("first: a/x", "second: a/x", "third: a/x", "group: a/x"));
    EXPECT_EQ(7, seen);
    EXPECT_TRUE(this->settings.propertyExists("a/z", SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists("a/y", SCOPE_USER));
}

TYPED_TEST(Reentrancy, ListenersThatWriteEachOthersPropertiesOnceTerminate) {
    Listener other(this->journal, "other");
    this->settings.addCallback("b", &other);
    this->once(this->first, [this] { this->settings._writeInteger(nullptr, "b", 7, SCOPE_USER); });
    this->once(other, [this] { this->settings._writeInteger(nullptr, "a/x", 7, SCOPE_USER); });
    (void)this->change();
    EXPECT_THAT(other.told, ElementsAre("b"));
    EXPECT_THAT(this->first.told, ElementsAre("a/x", "a/x"));
    EXPECT_THAT(pending(this->settings), IsEmpty());
    this->settings.removeCallback(&other);
}

} // namespace
