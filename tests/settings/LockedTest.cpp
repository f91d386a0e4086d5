// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Changes.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>
#include <velmorand/Property.h>

#include "support/Failure.h"
#include "support/NumberedTypes.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

/** Replaces the list of locked names. */
void lock(Strings const& names) {
    write("velmorand/locked", names, SCOPE_GLOBAL);
}

template <class T>
class LockedKinds : public testing::Test {
protected:
    static T users();
    static T administrators();
};

// Values that differ from each other and from the type's default.
template <>
std::string LockedKinds<std::string>::users() {
    return "user's";
}
template <>
std::string LockedKinds<std::string>::administrators() {
    return std::string("a\0\xFF", 3);
}
template <>
double LockedKinds<double>::users() {
    return 1;
}
template <>
double LockedKinds<double>::administrators() {
    return -2.5e-300;
}
template <>
int LockedKinds<int>::users() {
    return 1;
}
template <>
int LockedKinds<int>::administrators() {
    return -2'000'000'000;
}
template <>
bool LockedKinds<bool>::users() {
    return false;
}
template <>
bool LockedKinds<bool>::administrators() {
    return true;
}
template <>
Strings LockedKinds<Strings>::users() {
    return {};
}
template <>
Strings LockedKinds<Strings>::administrators() {
    return {"", "a", "b\xC3\xA4"};
}
template <>
std::vector<double> LockedKinds<std::vector<double>>::users() {
    return {1};
}
template <>
std::vector<double> LockedKinds<std::vector<double>>::administrators() {
    return {0.1, -0.2};
}
template <>
std::vector<int> LockedKinds<std::vector<int>>::users() {
    return {1};
}
template <>
std::vector<int> LockedKinds<std::vector<int>>::administrators() {
    return {-1, 0, 65'536};
}
template <>
std::vector<bool> LockedKinds<std::vector<bool>>::users() {
    return {false};
}
template <>
std::vector<bool> LockedKinds<std::vector<bool>>::administrators() {
    return {true, false, true};
}

using Kinds = testing::Types<std::string, double, int, bool, Strings, std::vector<double>, std::vector<int>,
                             std::vector<bool>>;

} // namespace

TYPED_TEST_SUITE(LockedKinds, Kinds, support::NumberedTypes);

TYPED_TEST(LockedKinds, HaveTheAdministratorsValue) {
    Property<TypeParam> const property{"a/x"};
    write("a/x", TestFixture::users());
    write("a/x", TestFixture::administrators(), SCOPE_GLOBAL);
    ASSERT_EQ(TestFixture::users(), property.get());
    lock({"a/x"});
    EXPECT_EQ(TestFixture::administrators(), property.get());
    EXPECT_EQ(TestFixture::administrators(), read<TypeParam>("a/x"));
    EXPECT_EQ(TestFixture::administrators(), read<TypeParam>("a/x", TestFixture::users()));
    EXPECT_EQ(TestFixture::administrators(), Group("a").read<TypeParam>("x"));
}

TEST(Locked, SettingsWithoutTheAdministratorsValueCountAsMissing) {
    Property<int> const property{"a/x", 3};
    write("a/x", 1);
    lock({"a/x"});
    EXPECT_EQ(3, property.get());
    EXPECT_EQ("PropertyNotFound", failure([] { static_cast<void>(read<int>("a/x")); }));
    EXPECT_EQ(4, read<int>("a/x", 4));
}

TEST(Locked, SettingsStillHaveTheProgramsTemporaryValue) {
    write("a/x", 1);
    write("a/x", 2, SCOPE_TEMPORARY);
    lock({"a/x"});
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST(Locked, GroupsLockEverythingInThem) {
    write("a/b/c", 1);
    write("ab", 1);
    lock({"a"});
    EXPECT_TRUE(isLocked("a"));
    EXPECT_TRUE(isLocked("a/b"));
    EXPECT_TRUE(isLocked("a/b/c"));
    EXPECT_FALSE(isLocked("ab"));
    EXPECT_EQ(0, read<int>("a/b/c", 0));
    EXPECT_EQ(1, read<int>("ab"));
}

TEST(Locked, PropertiesDoNotLockTheirGroup) {
    lock({"a/x"});
    EXPECT_FALSE(isLocked("a"));
    EXPECT_FALSE(isLocked(""));
    EXPECT_FALSE(Group().isLocked());
    write("a/y", 1);
    EXPECT_EQ(1, read<int>("a/y"));
}

TEST(Locked, NamesAreNormalised) {
    write("a/x", 1);
    lock({"//a///x/"});
    EXPECT_TRUE(isLocked("a/x"));
    EXPECT_TRUE(isLocked("/a//x/"));
    EXPECT_EQ(0, read<int>("/a//x/", 0));
}

TEST(Locked, ListsMayHaveEntriesThatAreNotNames) {
    lock({"", "/", "a/../b", "a/x"});
    EXPECT_TRUE(isLocked("a/x"));
    EXPECT_FALSE(isLocked("b"));
    EXPECT_FALSE(isLocked("a"));
    EXPECT_FALSE(isLocked(""));
}

TEST(Locked, ListsMayHaveEntriesInsideOthers) {
    lock({"a/b", "a", "a-"});
    EXPECT_TRUE(isLocked("a/b"));
    EXPECT_TRUE(isLocked("a/c"));
}

TEST(Locked, ListsOfAnotherTypeLockNothing) {
    for (auto const& writeList : {+[] { write("velmorand/locked", "a/x", SCOPE_GLOBAL); },
                                  +[] { write("velmorand/locked", std::vector<int>{1}, SCOPE_GLOBAL); },
                                  +[] {
                                      _Register::getInstance()->delProperty("velmorand/locked", SCOPE_GLOBAL);
                                      write("velmorand/locked/x", Strings{"a/x"}, SCOPE_GLOBAL);
                                  }}) {
        lock({"a/x"});
        ASSERT_TRUE(isLocked("a/x"));
        writeList();
        EXPECT_FALSE(isLocked("a/x"));
        write("a/x", 1);
        EXPECT_EQ(1, read<int>("a/x"));
        _Register::getInstance()->delProperty("velmorand", SCOPE_GLOBAL);
    }
}

TEST(Locked, TruncatedListsLockNothing) {
    lock({"a/x", "a/y"});
    _Register& settings = *_Register::getInstance();
    filesystem::FileHandle* const handle =
        settings.openProperty("velmorand/locked", filesystem::FileSystem::MODE_WRITE, SCOPE_GLOBAL);
    settings.write(handle, "LS\2\0\0\0\3\0\0\0a/x", 13);
    settings.closeProperty(*handle);
    EXPECT_FALSE(isLocked("a/x"));
}

TEST(Locked, ListsOfTheUserLockNothing) {
    write("velmorand/locked", Strings{"a/x"});
    write("velmorand/locked", Strings{"a/x"}, SCOPE_TEMPORARY);
    EXPECT_FALSE(isLocked("a/x"));
}

TEST(Locked, FollowChangesOfTheList) {
    Property<int> const property{"a/x"};
    property.set(1);
    lock({"a"});
    EXPECT_TRUE(property.isLocked());
    EXPECT_EQ(0, property.get());
    lock({"b"});
    EXPECT_FALSE(property.isLocked());
    EXPECT_EQ(1, property.get());
}

TEST(Locked, AreReportedByPropertiesGroupsAndTheCatalogue) {
    Property<int> const property{"a/x"};
    lock({"a/x"});
    EXPECT_TRUE(property.isLocked());
    EXPECT_TRUE(Group("a").isLocked("x"));
    EXPECT_FALSE(Group("a").isLocked());
    EXPECT_TRUE(declaredProperties().at(0).isLocked);
    lock({});
    EXPECT_FALSE(declaredProperties().at(0).isLocked);
}

TEST(Locked, CannotBeWritten) {
    Property<int> const property{"a/x"};
    property.set(1);
    lock({"a/x"});
    std::vector<std::string> heard;
    Listener const listener{"a", [&heard](std::string const& name) { heard.push_back(name); }};
    EXPECT_EQ("cannot write \"a/x\": the administrator has locked it", failure([&] { property.set(2); }));
    EXPECT_EQ("cannot write \"a/x\": the administrator has locked it", failure([&] { property.set(1); }));
    EXPECT_EQ("cannot write \"a/x\": the administrator has locked it", failure([] { write("/a/x", 2); }));
    EXPECT_THAT(heard, IsEmpty());
    lock({});
    EXPECT_EQ(1, property.get());
}

TEST(Locked, ErrorsNameTheLockedGroup) {
    lock({"a"});
    EXPECT_EQ("cannot write \"a/b/x\": the administrator has locked \"a\"",
              failure([] { write("a/b/x", 2); }));
}

TEST(Locked, CanBeWrittenInTheOtherScopes) {
    lock({"a/x"});
    write("a/x", 1, SCOPE_TEMPORARY);
    EXPECT_EQ(1, read<int>("a/x"));
    write("a/x", 2, SCOPE_GLOBAL);
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST(Locked, RefuseTransactionsAsAWhole) {
    write("a/w", 1);
    lock({"a/x"});
    Changes changes;
    changes.write("a/w", 2);
    changes.write("a/x", 2);
    changes.write("a/z", 2);
    EXPECT_EQ("cannot write \"a/x\": the administrator has locked it", failure([&] { changes.apply(); }));
    EXPECT_FALSE(changes.empty());
    EXPECT_EQ(1, read<int>("a/w"));
    EXPECT_EQ(0, read<int>("a/z", 0));
}

TEST(Locked, MayBeReset) {
    Property<int> const property{"a/x"};
    property.set(1);
    Property<int> const other{"a/y"};
    other.set(1);
    lock({"a"});
    EXPECT_TRUE(property.isSet());
    property.reset();
    EXPECT_FALSE(property.isSet());
    Changes changes;
    changes.reset(other);
    changes.apply();
    EXPECT_FALSE(other.isSet());
}

TEST(Locked, DoNotAffectReadsAndWritesOfTheRegister) {
    write("a/x", 1);
    write("a/x", 2, SCOPE_GLOBAL);
    lock({"a/x"});
    int value = 0;
    _Register::getInstance()->_readInteger("a/x", value);
    EXPECT_EQ(1, value);
    _Register::getInstance()->_writeInteger(nullptr, "a/x", 3, SCOPE_USER);
    _Register::getInstance()->_readInteger("a/x", value);
    EXPECT_EQ(3, value);
}

TEST(Locked, ReadersReportTheProblemOfTheAdministratorsValue) {
    Property<int> const property{"a/x", 5, range(1, 9)};
    property.set(2);
    lock({"a/x"});
    EXPECT_EQ("", property.problem());
    write("a/x", 12, SCOPE_GLOBAL);
    EXPECT_EQ(5, property.get());
    EXPECT_EQ("a/x: 12 is not allowed: expected 1 to 9", property.problem());
    write("a/x", "12", SCOPE_GLOBAL);
    EXPECT_EQ("a/x: expected an integer, found a string", property.problem());
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<int>("a/x", 1)); }));
}

TEST(Locked, ReadersTreatTheAdministratorsGroupLikeAnyOther) {
    write("a/x/y", 1, SCOPE_GLOBAL);
    write("a/x", 1);
    lock({"a/x"});
    EXPECT_EQ("PropertyBadType", failure([] { static_cast<void>(read<int>("a/x")); }));
    EXPECT_EQ("PropertyNotFound", failure([] { static_cast<void>(read<std::string>("a/x")); }));
}

TEST(Locked, GroupListsOmitHiddenNames) {
    write("a/x", 1);
    write("a/y", 1);
    write("a/y", 2, SCOPE_GLOBAL);
    write("a/z", 1);
    write("a/g/x", 1);
    lock({"a/x", "a/y", "a/g"});
    Group const group("a");
    EXPECT_THAT(group.properties(), ElementsAre("y", "z"));
    EXPECT_THAT(group.groups(), IsEmpty());
    EXPECT_THAT(group.properties(SCOPE_USER), ElementsAre("x", "y", "z"));
    EXPECT_THAT(group.groups(SCOPE_USER), ElementsAre("g"));
    EXPECT_FALSE(group.contains("x"));
    EXPECT_TRUE(group.contains("y"));
    EXPECT_TRUE(group.contains("x", SCOPE_USER));
}

TEST(Locked, GroupsAreCopiedWithTheValuesInForce) {
    write("a/x", 1);
    write("a/y", 1);
    write("a/y", 2, SCOPE_GLOBAL);
    lock({"a"});
    Group const copy = Group("a").copy("b");
    EXPECT_THAT(copy.properties(), ElementsAre("y"));
    EXPECT_EQ(2, copy.read<int>("y"));
}

TEST(Locked, CannotBeReplacedByCopyingOrRenamingAGroup) {
    write("a/x", 1);
    write("a/y", 1);
    lock({"b/y"});
    EXPECT_EQ("cannot copy \"a\" to \"b\": \"b/y\": the administrator has locked it",
              failure([] { static_cast<void>(Group("a").copy("b")); }));
    EXPECT_EQ("cannot rename \"a\" to \"b\": \"b/y\": the administrator has locked it",
              failure([] { static_cast<void>(Group("a").rename("b")); }));
    EXPECT_FALSE(Group().contains("b"));
    EXPECT_THAT(Group("a").properties(), ElementsAre("x", "y"));
}

TEST(Locked, GroupsMayBeRemoved) {
    write("a/x", 1);
    lock({"a"});
    Group("a").remove();
    EXPECT_FALSE(Group().contains("a", SCOPE_USER));
}
