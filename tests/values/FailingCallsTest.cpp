// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Listener.h"
#include "values/Forms.h"
#include "values/Kinds.h"

// The state after a file-system call of a typed operation has failed.

namespace {

using forms::outcome;
using notification::Listener;
using support::RegisterProbe;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using utils::properties::SCOPE_USER;
using Calls = std::vector<std::string>;

/** A register with a group "a" in the user scope, and a listener to this group. */
struct WatchedRegister {
    WatchedRegister() {
        probe.addGroup("a", SCOPE_USER);
        probe.addCallback("a", &listener);
        probe.takeCalls();
    }

    RegisterProbe probe;
    Listener listener;
};

/** A call that an operation makes: the `nth` call of a file-system operation. */
struct Position {
    std::string operation;
    int nth;
};

std::vector<Position> positionsOf(Calls const& calls) {
    std::map<std::string, int> counts;
    std::vector<Position> positions;
    for (std::string const& call : calls) {
        std::string const operation = call.substr(0, call.find(' '));
        positions.push_back({operation, ++counts[operation]});
    }
    return positions;
}

template <class Kind>
class FailingWrite : public testing::Test {
protected:
    /** The calls of writing `one()` over an existing property. */
    static std::vector<Position> callsOfAWrite() {
        WatchedRegister watched;
        watched.probe.store("/user/a/x", "?");
        write(watched);
        return positionsOf(watched.probe.takeCalls());
    }

    static void write(WatchedRegister& watched) {
        Kind::write(watched.probe, nullptr, "a/x", Kind::one(), SCOPE_USER);
    }

    /** The message for a property that cannot be opened: one writer gives its path, the others its name. */
    static std::string cannotOpen() {
        bool const givesThePath = std::string(Kind::tags) == "S";
        return givesThePath ? "/user/a/x no such property" : "a/x no such property.";
    }
};
TYPED_TEST_SUITE(FailingWrite, kinds::All, kinds::KindNames);

TYPED_TEST(FailingWrite, LeavesThePartialRecordUnannouncedAndTheHandleOpen) {
    auto const fields = kinds::fieldsOf<TypeParam>(TypeParam::one());
    auto const calls = this->callsOfAWrite();
    ASSERT_EQ(fields.size() + 2, calls.size()); // between opening and closing
    for (std::size_t i = 1; i < calls.size(); ++i) {
        WatchedRegister watched;
        watched.probe.store("/user/a/x", "?");
        watched.probe.failCall(calls[i].operation, calls[i].nth);
        EXPECT_EQ(calls[i].operation + " fails", outcome([&] { this->write(watched); })) << i;
        EXPECT_EQ(i + 1, watched.probe.takeCalls().size()) << "nothing follows the call that failed";
        EXPECT_EQ(record::joined(fields, i - 1), watched.probe.content("/user/a/x"));
        EXPECT_THAT(watched.probe._changedProperties, IsEmpty());
        EXPECT_THAT(watched.listener.told, IsEmpty());
        EXPECT_TRUE(support::lockIsFree());
    }
}

TYPED_TEST(FailingWrite, DoesNotAffectTheNextWrite) {
    for (Position const& call : this->callsOfAWrite()) {
        WatchedRegister watched;
        watched.probe.store("/user/a/x", "?");
        watched.probe.failCall(call.operation, call.nth);
        EXPECT_NE("done", outcome([&] { this->write(watched); }));
        this->write(watched);
        EXPECT_EQ(kinds::recordOf<TypeParam>(TypeParam::one()), watched.probe.content("/user/a/x"));
        EXPECT_THAT(watched.listener.told, ElementsAre("a/x"));
    }
}

TYPED_TEST(FailingWrite, PropagatesAFailureToCreateTheProperty) {
    for (std::string const operation : {"exists", "mkdir", "close"}) {
        WatchedRegister watched;
        watched.probe.delProperty("a", SCOPE_USER);
        watched.probe.failCall(operation);
        EXPECT_EQ(operation + " fails", outcome([&] { this->write(watched); }));
        EXPECT_THAT(watched.probe._changedProperties, IsEmpty());
        EXPECT_THAT(watched.listener.told, IsEmpty());
        EXPECT_TRUE(support::lockIsFree());
    }
}

TYPED_TEST(FailingWrite, ReportsThatANewPropertyCannotBeOpened) {
    WatchedRegister watched;
    watched.probe.refuseOpen("/user/a/x", 1);
    watched.probe.refuseOpen("/user/a/x", 3);
    EXPECT_EQ(this->cannotOpen(), outcome([&] { this->write(watched); }));
    EXPECT_EQ("", watched.probe.content("/user/a/x"));
    EXPECT_THAT(watched.probe._changedProperties, IsEmpty());
    EXPECT_THAT(watched.listener.told, IsEmpty());
    EXPECT_TRUE(support::lockIsFree());
}

TYPED_TEST(FailingWrite, ReportsThatAnExistingPropertyCannotBeOpened) {
    WatchedRegister watched;
    watched.probe.store("/user/a/x", "before");
    watched.probe.refuseOpen("/user/a/x", 1);
    watched.probe.refuseOpen("/user/a/x", 2);
    EXPECT_EQ(this->cannotOpen(), outcome([&] { this->write(watched); }));
    EXPECT_EQ("before", watched.probe.content("/user/a/x"));
    EXPECT_THAT(watched.probe.takeCalls(),
                ElementsAre("open /user/a/x 1", "exists /user/a/x", "open /user/a/x 1"));
}

TYPED_TEST(FailingWrite, TriesToOpenAnExistingPropertyTwice) {
    WatchedRegister watched;
    watched.probe.store("/user/a/x", "before");
    watched.probe.refuseOpen("/user/a/x", 1);
    this->write(watched);
    EXPECT_EQ(kinds::recordOf<TypeParam>(TypeParam::one()), watched.probe.content("/user/a/x"));
    EXPECT_THAT(watched.listener.told, ElementsAre("a/x"));
}

template <class Kind>
class FailingRead : public testing::Test {
protected:
    /** The calls of reading `other()`, in order. */
    static std::vector<Position> callsOfARead() {
        RegisterProbe probe;
        probe.store("/user/x", kinds::recordOf<Kind>(Kind::other()));
        (void)Kind::read(probe, "x");
        return positionsOf(probe.takeCalls());
    }

    static bool isList() { return Kind::tags[0] == 'L'; }
};
TYPED_TEST_SUITE(FailingRead, kinds::All, kinds::KindNames);

TYPED_TEST(FailingRead, LeavesTheHandleOpenAndTheLockFree) {
    auto const calls = this->callsOfARead();
    for (std::size_t i = 0; i < calls.size(); ++i) {
        RegisterProbe probe;
        probe.store("/user/x", kinds::recordOf<TypeParam>(TypeParam::other()));
        probe.failCall(calls[i].operation, calls[i].nth);
        EXPECT_EQ(calls[i].operation + " fails", outcome([&] { (void)TypeParam::read(probe, "x"); })) << i;
        EXPECT_EQ(i + 1, probe.takeCalls().size()) << "nothing follows the call that failed";
        EXPECT_TRUE(support::lockIsFree());
        EXPECT_EQ(TypeParam::other(), TypeParam::read(probe, "x"));
    }
}

TYPED_TEST(FailingRead, DoesNotChangeTheValueUntilItsPayloadIsRead) {
    std::size_t const headCalls = 2 + std::string(TypeParam::tags).size() + (this->isList() ? 1 : 0);
    auto const calls = this->callsOfARead();
    for (std::size_t i = 0; i < headCalls; ++i) {
        RegisterProbe probe;
        probe.store("/user/x", kinds::recordOf<TypeParam>(TypeParam::other()));
        probe.failCall(calls[i].operation, calls[i].nth);
        auto value = TypeParam::one();
        EXPECT_NE("done", outcome([&] { TypeParam::read(probe, "x", value); }));
        EXPECT_EQ(TypeParam::one(), value);
    }
}

TYPED_TEST(FailingRead, StoresTheValueBeforeItClosesTheHandleExceptForANumber) {
    RegisterProbe probe;
    probe.store("/user/x", kinds::recordOf<TypeParam>(TypeParam::other()));
    probe.failCall("close");
    auto value = TypeParam::one();
    EXPECT_EQ("close fails", outcome([&] { TypeParam::read(probe, "x", value); }));
    bool const isNumber = std::string(TypeParam::tags) == "N";
    EXPECT_EQ(isNumber ? TypeParam::one() : TypeParam::other(), value);
}

TYPED_TEST(FailingRead, NeverClosesAPropertyOfAnotherKind) {
    kinds::forEach([](auto stored) {
        using Stored = decltype(stored);
        if (std::string(Stored::tags) == TypeParam::tags)
            return;
        RegisterProbe probe;
        probe.store("/user/x", kinds::recordOf<Stored>(Stored::one()));
        EXPECT_EQ("PropertyBadType", outcome([&] { (void)TypeParam::read(probe, "x"); }));
        EXPECT_THAT(probe.takeCalls(), Not(Contains("close")));
    });
}

TYPED_TEST(FailingRead, StopsAtAWrongTag) {
    RegisterProbe probe;
    probe.store("/user/x", "?S");
    EXPECT_EQ("PropertyBadType", outcome([&] { (void)TypeParam::read(probe, "x"); }));
    EXPECT_THAT(probe.takeCalls(), ElementsAre("exists /user/x", "open /user/x 0", "readByte"));
}

TYPED_TEST(FailingRead, RefusesAPropertyThatCannotBeOpened) {
    RegisterProbe probe;
    probe.store("/user/x", kinds::recordOf<TypeParam>(TypeParam::other()));
    probe.refuseOpen("/user/x");
    auto value = TypeParam::one();
    bool const isString = std::string(TypeParam::tags) == "S";
    EXPECT_EQ(isString ? "PropertyNotFound" : "PropertyBadType",
              outcome([&] { TypeParam::read(probe, "x", value); }));
    EXPECT_EQ(TypeParam::one(), value);
    EXPECT_THAT(probe.takeCalls(), ElementsAre("exists /user/x", "open /user/x 0"));
    EXPECT_TRUE(support::lockIsFree());
}

template <class Kind>
class FailingReadList : public testing::Test {};
TYPED_TEST_SUITE(FailingReadList, kinds::Lists, kinds::KindNames);

TYPED_TEST(FailingReadList, StopsAtAWrongElementTag) {
    RegisterProbe probe;
    probe.store("/user/x", std::string("L?\1\0\0\0x", 7));
    EXPECT_EQ("PropertyBadType", outcome([&] { (void)TypeParam::read(probe, "x"); }));
    EXPECT_THAT(probe.takeCalls(), ElementsAre("exists /user/x", "open /user/x 0", "readByte", "readByte"));
}

TYPED_TEST(FailingReadList, KeepsTheElementsReadBefore) {
    RegisterProbe probe;
    auto const stored = kinds::longList<TypeParam>(5);
    probe.store("/user/x", kinds::recordOf<TypeParam>(stored));
    (void)TypeParam::read(probe, "x");
    auto const calls = positionsOf(probe.takeCalls());
    Position const& lastOfAnElement = calls[calls.size() - 2];
    probe.failCall(lastOfAnElement.operation, lastOfAnElement.nth);
    auto values = TypeParam::one();
    EXPECT_NE("done", outcome([&] { TypeParam::read(probe, "x", values); }));
    EXPECT_EQ((typename TypeParam::Value(stored.begin(), stored.end() - 1)), values);
}

} // namespace
