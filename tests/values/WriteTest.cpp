// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"
#include "values/Kinds.h"

namespace {

using forms::content;
using forms::outcome;
using forms::pending;
using notification::Listener;
using testing::ElementsAre;
using testing::IsEmpty;
using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

template <class Case>
class Write : public kinds::Test<Case> {
protected:
    /** Expects a write to fail with a message, to notify no listener and to leave no traces. */
    void expectRefused(std::string const& name, RegisterScope scope, std::string const& message) {
        Listener listener;
        this->settings.addCallback(name, &listener);
        EXPECT_EQ(message, outcome([&] { this->write(name, Case::Kind::one(), scope); }));
        this->settings.removeCallback(&listener);
        EXPECT_THAT(listener.told, IsEmpty());
        EXPECT_THAT(pending(this->settings), IsEmpty());
        EXPECT_TRUE(support::lockIsFree());
    }

    /** The message for a property that cannot be opened: one writer gives its path, the others its name. */
    static std::string cannotOpen(std::string const& name) {
        bool const givesThePath = std::string(Case::Kind::tags) == "S";
        return givesThePath ? "/user/" + name + " no such property" : name + " no such property.";
    }
};
TYPED_TEST_SUITE(Write, kinds::AllCases, kinds::CaseNames);

TYPED_TEST(Write, StoresTheRecordOfEveryValue) {
    for (auto const& value : TypeParam::Kind::zoo()) {
        this->write("a/x", value);
        EXPECT_EQ(kinds::recordOf<typename TypeParam::Kind>(value), content(this->settings, "/user/a/x"));
    }
}

TYPED_TEST(Write, CreatesThePropertyAndItsGroups) {
    this->write("a/b/x", TypeParam::Kind::one());
    EXPECT_TRUE(this->settings.groupExists("a", SCOPE_USER));
    EXPECT_TRUE(this->settings.groupExists("a/b", SCOPE_USER));
    EXPECT_TRUE(this->settings.isFile("/user/a/b/x"));
}

TYPED_TEST(Write, CreatesAPropertyWithoutAGroup) {
    this->write("x", TypeParam::Kind::one());
    EXPECT_TRUE(this->settings.isFile("/user/x"));
}

TYPED_TEST(Write, StoresOnlyInTheGivenScope) {
    using Kind = typename TypeParam::Kind;
    this->write("in/global", Kind::one(), SCOPE_GLOBAL);
    this->write("in/user", Kind::one(), SCOPE_USER);
    this->write("in/temporary", Kind::one(), SCOPE_TEMPORARY);
    auto const name = [](char const* text) { return filesystem::DirEntry{text}; };
    EXPECT_THAT(this->settings.propertyList("in", SCOPE_GLOBAL), ElementsAre(name("global")));
    EXPECT_THAT(this->settings.propertyList("in", SCOPE_USER), ElementsAre(name("user")));
    EXPECT_THAT(this->settings.propertyList("in", SCOPE_TEMPORARY), ElementsAre(name("temporary")));
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/global/in/global"));
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/temp/in/temporary"));
}

TYPED_TEST(Write, ReplacesAValueOfAnyKind) {
    using Kind = typename TypeParam::Kind;
    kinds::forEach([this](auto before) {
        using Before = decltype(before);
        Before::write(this->settings, nullptr, "x", Before::one(), SCOPE_USER);
        this->write("x", Kind::other());
        EXPECT_EQ(kinds::recordOf<Kind>(Kind::other()), content(this->settings, "/user/x")) << Before::name;
    });
}

TYPED_TEST(Write, ReplacesALongerRecordCompletely) {
    using Kind = typename TypeParam::Kind;
    forms::store(this->settings, "/user/x", std::string(1000, 'z'));
    this->write("x", Kind::one());
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/x"));
}

TYPED_TEST(Write, IgnoresExtraSlashes) {
    using Kind = typename TypeParam::Kind;
    this->write("a//b", Kind::one());
    this->write("/c", Kind::one());
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/a/b"));
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/c"));
}

TYPED_TEST(Write, AcceptsANonAsciiName) {
    using Kind = typename TypeParam::Kind;
    this->write("\xC5\xBE/\xE2\x98\x83", Kind::one());
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/\xC5\xBE/\xE2\x98\x83"));
}

TYPED_TEST(Write, CreatesARemovedScopeAgain) {
    using Kind = typename TypeParam::Kind;
    this->settings.delProperty("", SCOPE_USER);
    this->write("a/x", Kind::one());
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/a/x"));
}

TYPED_TEST(Write, AnnouncesTheNameAsGiven) {
    Listener listener;
    this->settings.addCallback("a", &listener);
    this->write("a/x", TypeParam::Kind::one(), SCOPE_GLOBAL);
    this->write("a//x", TypeParam::Kind::one(), SCOPE_TEMPORARY);
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("a/x", "a//x"));
}

TYPED_TEST(Write, AnnouncesAnEqualValueAgain) {
    Listener listener;
    this->settings.addCallback("x", &listener);
    this->write("x", TypeParam::Kind::one());
    this->write("x", TypeParam::Kind::one());
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("x", "x"));
}

TYPED_TEST(Write, SkipsTheListenersOfItsSender) {
    Listener own;
    Listener foreign;
    this->settings.addCallback("x", &own);
    this->settings.addCallback("x", &foreign);
    this->write("x", TypeParam::Kind::one(), SCOPE_USER, own.identity);
    this->settings.removeCallback(&own);
    this->settings.removeCallback(&foreign);
    EXPECT_THAT(own.told, IsEmpty());
    EXPECT_THAT(foreign.told, ElementsAre("x"));
}

TYPED_TEST(Write, SkipsAListenerWithANullOwnerForANullSender) {
    Listener nobodys;
    nobodys.identity = nullptr;
    this->settings.addCallback("x", &nobodys);
    this->write("x", TypeParam::Kind::one(), SCOPE_USER, nullptr);
    this->settings.removeCallback(&nobodys);
    EXPECT_THAT(nobodys.told, IsEmpty());
}

TYPED_TEST(Write, StoresTheValueBeforeItIsAnnounced) {
    using Kind = typename TypeParam::Kind;
    this->write("x", Kind::other());
    Listener listener;
    std::string seen;
    listener.whenTold = [&](std::string const& name) { seen = kinds::recordOf<Kind>(this->read(name)); };
    this->settings.addCallback("x", &listener);
    this->write("x", Kind::one());
    this->settings.removeCallback(&listener);
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), seen);
}

TYPED_TEST(Write, HoldsTheLockUntilAllListenersAreNotified) {
    Listener listener;
    bool free = true;
    listener.whenTold = [&](std::string const& /*name*/) { free = support::lockIsFree(); };
    this->settings.addCallback("x", &listener);
    this->write("x", TypeParam::Kind::one());
    this->settings.removeCallback(&listener);
    EXPECT_FALSE(free);
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(Write, LeavesNothingPending) {
    this->write("x", TypeParam::Kind::one());
    EXPECT_THAT(pending(this->settings), IsEmpty());
}

TYPED_TEST(Write, AnnouncesPendingNamesToo) {
    Listener listener;
    this->settings.addCallback("older", &listener);
    pending(this->settings).insert("older");
    this->write("x", TypeParam::Kind::one());
    this->settings.removeCallback(&listener);
    EXPECT_THAT(listener.told, ElementsAre("older"));
}

TYPED_TEST(Write, LeavesItsNamePendingOnceWhenAListenerThrows) {
    using Kind = typename TypeParam::Kind;
    Listener listener;
    listener.whenTold = [](std::string const& /*name*/) { throw std::runtime_error("not now"); };
    this->settings.addCallback("x", &listener);
    EXPECT_EQ("not now", outcome([&] { this->write("x", Kind::other()); }));
    EXPECT_EQ("not now", outcome([&] { this->write("x", Kind::one()); }));
    this->settings.removeCallback(&listener);
    EXPECT_THAT(pending(this->settings), ElementsAre("x"));
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/x"));
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(Write, RefusesAnUnknownScope) {
    this->expectRefused("x", static_cast<RegisterScope>(3), "Bad scope value.");
    this->expectRefused("x", static_cast<RegisterScope>(-1), "Bad scope value.");
    EXPECT_FALSE(this->settings.propertyExists("x"));
}

TYPED_TEST(Write, RefusesAnUnknownScopeWithoutTheLock) {
    std::string failure;
    boost::unique_lock<boost::recursive_mutex> const lock(*utils::properties::_Register::_mutex);
    std::thread([&] {
        failure = outcome([&] { this->write("x", TypeParam::Kind::one(), static_cast<RegisterScope>(3)); });
    }).join();
    EXPECT_EQ("Bad scope value.", failure);
}

TYPED_TEST(Write, RefusesToUseAPropertyAsAGroup) {
    using Kind = typename TypeParam::Kind;
    this->write("a", Kind::one());
    this->expectRefused("a/b", SCOPE_USER, this->cannotOpen("a/b"));
    this->expectRefused("a/b/c", SCOPE_USER, this->cannotOpen("a/b/c"));
    EXPECT_EQ(kinds::recordOf<Kind>(Kind::one()), content(this->settings, "/user/a"));
}

TYPED_TEST(Write, RefusesTheNameOfAGroup) {
    this->settings.addGroup("a/b", SCOPE_USER);
    this->expectRefused("a/b", SCOPE_USER, this->cannotOpen("a/b"));
    EXPECT_TRUE(this->settings.groupExists("a/b", SCOPE_USER));
}

TYPED_TEST(Write, RefusesTheEmptyName) {
    this->expectRefused("", SCOPE_USER, this->cannotOpen(""));
    EXPECT_TRUE(this->settings.groupExists("", SCOPE_USER));
}

TYPED_TEST(Write, RefusesDotLevels) {
    this->expectRefused("..", SCOPE_USER, this->cannotOpen(".."));
    this->expectRefused("../global/x", SCOPE_USER, this->cannotOpen("../global/x"));
    this->expectRefused("a/../x", SCOPE_USER, this->cannotOpen("a/../x"));
    this->expectRefused("a/.", SCOPE_USER, this->cannotOpen("a/."));
    EXPECT_FALSE(this->settings.propertyExists("x"));
}

template <class Case>
class WriteList : public kinds::Test<Case> {};
TYPED_TEST_SUITE(WriteList, kinds::ListCases, kinds::CaseNames);

TYPED_TEST(WriteList, StoresAHundredThousandElements) {
    using Kind = typename TypeParam::Kind;
    auto const values = kinds::longList<Kind>(100'000);
    this->write("x", values);
    EXPECT_TRUE(kinds::recordOf<Kind>(values) == content(this->settings, "/user/x"));
}

TYPED_TEST(WriteList, StoresAnEmptyListInSixBytes) {
    using Kind = typename TypeParam::Kind;
    this->write("x", {});
    EXPECT_EQ(std::string(Kind::tags) + std::string(4, '\0'), content(this->settings, "/user/x"));
}

} // namespace
