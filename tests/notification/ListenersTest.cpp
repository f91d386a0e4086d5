// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "support/ChildProcess.h"
#include "values/Forms.h"

namespace {

using forms::outcome;
using notification::Journal;
using notification::Listener;
using support::RegisterProbe;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::properties::_Register;

template <class Form>
class Listeners : public forms::Test<Form> {
protected:
    ~Listeners() override {
        for (Listener* listener : {&first, &second})
            this->settings.removeCallback(listener);
    }

    Journal const& change(std::string const& name) {
        journal.clear();
        this->settings.markAsChanged(nullptr, name);
        return journal;
    }

    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
};

template <class Form>
class AddCallback : public Listeners<Form> {};
TYPED_TEST_SUITE(AddCallback, forms::Both, forms::Names);

TYPED_TEST(AddCallback, RefusesNull) {
    EXPECT_EQ("Null callback.", outcome([this] { this->settings.addCallback("x", nullptr); }));
    EXPECT_TRUE(support::lockIsFree());
    EXPECT_THAT(this->change("x"), IsEmpty());
}

TYPED_TEST(AddCallback, DoesNotCallTheListener) {
    this->settings.addCallback("x", &this->first);
    EXPECT_EQ(0, this->first.asked);
    EXPECT_THAT(this->first.told, IsEmpty());
}

TYPED_TEST(AddCallback, DoesNotCreateTheProperty) {
    this->settings.addCallback("x", &this->first);
    EXPECT_FALSE(this->settings.propertyExists("x"));
}

TYPED_TEST(AddCallback, KeepsTheOrderAcrossRemovals) {
    Listener third(this->journal, "third");
    this->settings.addCallback("x", &this->first);
    this->settings.addCallback("x", &this->second);
    this->settings.addCallback("x", &third);
    this->settings.removeCallback("x", &this->first);
    this->settings.addCallback("x", &this->first);
    EXPECT_THAT(this->change("x"), ElementsAre("second: x", "third: x", "first: x"));
    this->settings.removeCallback(&third);
}

TYPED_TEST(AddCallback, WorksWithTheLockHeld) {
    boost::unique_lock<boost::recursive_mutex> const lock(*_Register::_mutex);
    this->settings.addCallback("x", &this->first);
    EXPECT_THAT(this->change("x"), ElementsAre("first: x"));
}

template <class Form>
class RemoveCallback : public Listeners<Form> {};
TYPED_TEST_SUITE(RemoveCallback, forms::Both, forms::Names);

TYPED_TEST(RemoveCallback, OfAKeyRemovesEveryEntryOfTheListenerUnderThatKey) {
    this->settings.addCallback("x", &this->first);
    this->settings.addCallback("x", &this->second);
    this->settings.addCallback("x", &this->first);
    this->settings.removeCallback("x", &this->first);
    EXPECT_THAT(this->change("x"), ElementsAre("second: x"));
}

TYPED_TEST(RemoveCallback, OfAKeyKeepsTheOtherKeys) {
    this->settings.addCallback("a/x", &this->first);
    this->settings.addCallback("a", &this->first);
    this->settings.removeCallback("a/x", &this->first);
    EXPECT_THAT(this->change("a/x"), ElementsAre("first: a/x"));
}

TYPED_TEST(RemoveCallback, OfAllKeysRemovesEveryEntryOfTheListener) {
    for (char const* key : {"a/x", "a", "a", "b"})
        this->settings.addCallback(key, &this->first);
    this->settings.addCallback("a", &this->second);
    this->settings.removeCallback(&this->first);
    EXPECT_THAT(this->change("a/x"), ElementsAre("second: a/x"));
    EXPECT_THAT(this->change("b"), IsEmpty());
}

TYPED_TEST(RemoveCallback, IgnoresEntriesThatDoNotExist) {
    this->settings.addCallback("x", &this->first);
    this->settings.removeCallback("x", &this->second);
    this->settings.removeCallback("y", &this->first);
    this->settings.removeCallback("", &this->first);
    this->settings.removeCallback(&this->second);
    this->settings.removeCallback("x", nullptr);
    this->settings.removeCallback(nullptr);
    EXPECT_THAT(this->change("x"), ElementsAre("first: x"));
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(RemoveCallback, DoesNothingTheSecondTime) {
    this->settings.addCallback("x", &this->first);
    this->settings.removeCallback(&this->first);
    this->settings.removeCallback("x", &this->first);
    this->settings.removeCallback(&this->first);
    EXPECT_THAT(this->change("x"), IsEmpty());
}

TYPED_TEST(RemoveCallback, DoesNotCallTheListener) {
    this->settings.addCallback("x", &this->first);
    this->settings.removeCallback(&this->first);
    EXPECT_EQ(0, this->first.asked);
}

/** A listener that reports its destruction. */
class Mortal : public Listener {
public:
    explicit Mortal(bool& gone) : _gone(gone) {}
    Mortal(Mortal const&) = delete;
    Mortal& operator=(Mortal const&) = delete;
    ~Mortal() override { _gone = true; }

private:
    bool& _gone;
};

TEST(RegisterDestruction, NeitherCallsNorDestroysTheListeners) {
    bool gone = false;
    Mortal listener(gone);
    {
        RegisterProbe probe;
        probe.addCallback("x", &listener);
        probe._changedProperties.insert("x");
    }
    EXPECT_FALSE(gone);
    EXPECT_EQ(0, listener.asked);
    EXPECT_THAT(listener.told, IsEmpty());
}

TEST(RegisterDestruction, DoesNotTouchADestroyedListener) {
    EXPECT_EQ(0, support::inChild([] {
                  auto listener = std::make_unique<Listener>();
                  _Register::getInstance()->addCallback("x", listener.get());
                  listener.reset();
              }));
}

} // namespace
