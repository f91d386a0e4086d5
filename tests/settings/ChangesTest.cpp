// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/Direct.h>
#include <utils/properties/Register.h>
#include <velmorand/Changes.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>

#include "support/Failure.h"
#include "support/NumberedTypes.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

class Transaction : public testing::Test {
protected:
    Property<int> const width{"a/width", 1, atMost(1000)};
    Property<int> const height{"a/height", 1};
    std::vector<std::string> names;
    Listener const listener{"a", [this](std::string const& name) { names.push_back(name); }};
    Changes changes;
};

} // namespace

TEST_F(Transaction, HasNoEffectBeforeItIsApplied) {
    changes.set(width, 800);
    EXPECT_EQ(1, width.get());
    { Changes const dropped = std::move(changes); }
    EXPECT_EQ(1, width.get());
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(Transaction, AnnouncesChangesOnceAllHaveBeenMade) {
    Listener const sees{"a", [this](std::string const&) {
                            EXPECT_EQ(800, width.get());
                            EXPECT_EQ(600, height.get());
                        }};
    changes.set(width, 800);
    changes.set(height, 600);
    changes.apply();
    EXPECT_THAT(names, ElementsAre("a/height", "a/width"));
}

TEST_F(Transaction, AnnouncesEachNameOnceWithItsLastValue) {
    changes.set(width, 1);
    changes.set(width, 2);
    changes.apply();
    EXPECT_EQ(2, width.get());
    EXPECT_THAT(names, ElementsAre("a/width"));
}

TEST_F(Transaction, DoesNotAnnounceAnEqualValue) {
    width.set(5);
    names.clear();
    changes.set(width, 5);
    changes.reset(height);
    changes.apply();
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(Transaction, ResetsAndRemovesEmptyGroups) {
    width.set(5);
    names.clear();
    changes.reset(width);
    changes.apply();
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a", SCOPE_USER));
    EXPECT_THAT(names, ElementsAre("a/width"));
}

TEST_F(Transaction, SkipsTheSender) {
    int sender = 0;
    int calls = 0;
    Listener const own{"a", [&calls](std::string const&) { ++calls; }, &sender};
    changes.set(width, 5);
    changes.apply(&sender);
    EXPECT_EQ(0, calls);
    EXPECT_EQ(1U, names.size());
}

TEST_F(Transaction, ImmediatelyRefusesAValueThatADeclarationDoesNotAllow) {
    EXPECT_EQ("cannot set \"a/width\": 1001 is not allowed: expected at most 1000",
              failure([this] { changes.set(width, 1001); }));
    EXPECT_TRUE(changes.empty());
}

TEST_F(Transaction, WritesByName) {
    changes.write("/a//text/", "dark");
    changes.write("a/list", std::vector<int>{1, 2});
    changes.apply();
    EXPECT_EQ("dark", read<std::string>("a/text"));
    EXPECT_THAT(names, ElementsAre("a/list", "a/text"));
}

TEST_F(Transaction, ThatFailsHasNoEffect) {
    width.set(5);
    write("a/group/x", 1);
    names.clear();
    changes.set(width, 6);
    changes.write("a/b/new", 1);
    changes.write("a/group", 1);
    changes.write("a/z", 1);
    EXPECT_EQ("cannot write \"a/group\": it is a group", failure([this] { changes.apply(); }));
    EXPECT_EQ(5, width.get());
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a/b", SCOPE_USER));
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a/z", SCOPE_USER));
    EXPECT_THAT(names, IsEmpty());
    EXPECT_FALSE(changes.empty());
}

TEST_F(Transaction, IsEmptyOnceItIsApplied) {
    EXPECT_TRUE(changes.empty());
    changes.set(width, 5);
    EXPECT_FALSE(changes.empty());
    changes.apply();
    EXPECT_TRUE(changes.empty());
}

TEST_F(Transaction, IsAppliedEvenIfAListenerThrows) {
    Listener const throwing{"a", [](std::string const&) { throw utils::Exception("from the listener"); }};
    changes.set(width, 5);
    EXPECT_EQ("from the listener", failure([this] { changes.apply(); }));
    EXPECT_EQ(5, width.get());
    EXPECT_TRUE(changes.empty());
}

TEST_F(Transaction, MayBeAppliedInAListener) {
    Listener const follower{"b", [this](std::string const&) {
                                changes.set(width, 7);
                                changes.apply();
                            }};
    Listener const after{"b", [this](std::string const& name) { names.push_back(name); }};
    write("b/x", 1);
    EXPECT_EQ(7, width.get());
    EXPECT_THAT(names, ElementsAre("a/width", "b/x"));
}

TEST_F(Transaction, ThatChangesANameBeingAnnouncedAnnouncesItAgain) {
    std::vector<int> seen;
    Listener const first{"a/width", [&](std::string const&) { seen.push_back(width.get()); }};
    Listener const second{"a/width", [&](std::string const&) {
                              if (width.get() == 5) {
                                  changes.set(width, 6);
                                  changes.apply();
                              }
                          }};
    width.set(5);
    EXPECT_THAT(seen, ElementsAre(5, 6));
}

TEST_F(Transaction, AnnouncesNamesThatAreStillPending) {
    bool throws = true;
    Listener const throwing{"a", [&throws](std::string const&) {
                                if (throws)
                                    throw utils::Exception("from the listener");
                            }};
    Listener const after{"a", [this](std::string const& name) { names.push_back("after " + name); }};
    names.clear();
    EXPECT_EQ("from the listener",
              failure([] { _Register::getInstance()->_writeInteger(nullptr, "a/width", 5, SCOPE_USER); }));
    throws = false;
    names.clear();
    changes.set(height, 6);
    changes.apply();
    EXPECT_THAT(names, ElementsAre("a/height", "after a/height", "a/width", "after a/width"));
}

TEST_F(Transaction, CannotWriteAPropertyUnderTheNameOfAGroupThatItEmpties) {
    write("a/g/x", 1);
    changes.reset("a/g/x");
    changes.write("a/g", 1);
    EXPECT_EQ("cannot write \"a/g\": it is a group", failure([this] { changes.apply(); }));
    EXPECT_EQ(1, read<int>("a/g/x"));
}

TEST_F(Transaction, CannotCreateAPropertyAndAGroupOfTheSameName) {
    changes.write("a/g/x", 1);
    changes.write("a/g", 1);
    EXPECT_EQ("cannot write \"a/g/x\": the same changes write its group \"a/g\" as a property",
              failure([this] { changes.apply(); }));
    EXPECT_FALSE(_Register::getInstance()->propertyExists("a", SCOPE_USER));
}

TEST_F(Transaction, DoesNotResetAGroup) {
    write("a/g/x", 1);
    changes.reset("a/g");
    changes.apply();
    EXPECT_EQ(1, read<int>("a/g/x"));
}

TEST_F(Transaction, ImmediatelyRefusesAnInvalidName) {
    EXPECT_EQ("invalid name: \"a/..\": a level cannot be \"..\"",
              failure([this] { changes.write("a/..", 1); }));
    EXPECT_EQ("the name is empty", failure([this] { changes.reset(""); }));
    EXPECT_TRUE(changes.empty());
}

TEST_F(Transaction, MayBeAppliedAgainAfterAFailure) {
    write("a/width/x", 1);
    changes.set(width, 5);
    EXPECT_EQ("cannot write \"a/width\": it is a group", failure([this] { changes.apply(); }));
    Group("a/width").remove();
    changes.apply();
    EXPECT_EQ(5, width.get());
}

TEST_F(Transaction, IsCopiedWithItsChanges) {
    changes.set(width, 5);
    Changes copy(changes);
    Changes assigned;
    assigned.reset(height);
    assigned = changes;
    copy.set(width, 6);
    EXPECT_FALSE(assigned.empty());
    assigned.apply();
    EXPECT_EQ(5, width.get());
    copy.apply();
    EXPECT_EQ(6, width.get());
    changes.apply();
    EXPECT_EQ(5, width.get());
    changes = copy;
    EXPECT_TRUE(changes.empty());
}

TEST_F(Transaction, MayBeUsedAgainAfterItIsMoved) {
    changes.set(width, 5);
    Changes other = std::move(changes);
    changes = Changes();
    changes.set(height, 6);
    changes.apply();
    EXPECT_EQ(1, width.get());
    other.apply();
    EXPECT_EQ(5, width.get());
}

/** Values of each kind, to be written by the register and by `Changes`. */
template <class T>
class ChangesOf : public testing::Test {
public:
    static std::vector<T> values();
};

template <>
std::vector<std::string> ChangesOf<std::string>::values() {
    return {"", "text", std::string(300, 'x'), std::string("a\0b", 3)};
}
template <>
std::vector<double> ChangesOf<double>::values() {
    return {0.0, -0.0, 0.1, std::numeric_limits<double>::infinity(), std::nan("")};
}
template <>
std::vector<int> ChangesOf<int>::values() {
    return {0, 1, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
}
template <>
std::vector<bool> ChangesOf<bool>::values() {
    return {false, true};
}
template <>
std::vector<std::vector<std::string>> ChangesOf<std::vector<std::string>>::values() {
    return {{}, {""}, {"one", std::string(300, 'x')}};
}
template <>
std::vector<std::vector<double>> ChangesOf<std::vector<double>>::values() {
    return {{}, {0.1, -0.0}};
}
template <>
std::vector<std::vector<int>> ChangesOf<std::vector<int>>::values() {
    return {{}, {1, -2, 3}};
}
template <>
std::vector<std::vector<bool>> ChangesOf<std::vector<bool>>::values() {
    return {{}, {true, false, true}};
}

using Kinds = testing::Types<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                             std::vector<int>, std::vector<bool>>;
TYPED_TEST_SUITE(ChangesOf, Kinds, support::NumberedTypes);

TYPED_TEST(ChangesOf, EveryKindHaveTheSameBytesAsTheRegistersWrites) {
    auto const bytesAt = [](char const* name) {
        return std::string(filesystem::direct::find(*_Register::getInstance(), {"user"}, name).content);
    };
    for (auto&& each : TestFixture::values()) {
        TypeParam const value = each;
        write("written", value);
        Changes changes;
        changes.write("applied", value);
        changes.apply();
        EXPECT_EQ(bytesAt("written"), bytesAt("applied"));
    }
}
