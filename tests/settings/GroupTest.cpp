// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utils/properties/Register.h>
#include <velmorand/Group.h>
#include <velmorand/Listener.h>

#include "support/Failure.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using testing::ElementsAre;
using testing::IsEmpty;

/** The names that listeners of the group "a" are notified of. */
class Heard {
public:
    std::vector<std::string> names;

private:
    Listener _listener{"a", [this](std::string const& name) { names.push_back(name); }};
};

bool isInUserScope(std::string const& name) {
    return _Register::getInstance()->propertyExists(name, SCOPE_USER);
}

} // namespace

TEST(Group, HasACleanName) {
    EXPECT_EQ("a/b", Group("//a//b/").name());
    EXPECT_EQ("a/b/c/d", Group("a/b").nameOf("/c//d/"));
    EXPECT_EQ("a/b/c", Group("a/b").group("c").name());
    EXPECT_EQ("", Group().name());
}

TEST(Group, ThatIsMissingIsEmpty) {
    EXPECT_THAT(Group("a").properties(), IsEmpty());
    EXPECT_THAT(Group("a").groups(), IsEmpty());
    EXPECT_FALSE(Group("a").contains("x"));
}

TEST(Group, ThatIsAPropertyIsEmpty) {
    write("a", 1);
    EXPECT_THAT(Group("a").properties(), IsEmpty());
    Group("a").remove();
    EXPECT_TRUE(isInUserScope("a"));
    Group("a").copy("b");
    EXPECT_FALSE(isInUserScope("b"));
}

TEST(Group, RefusesABadScope) {
    EXPECT_EQ("Bad scope value.", failure([] { static_cast<void>(Group().groups(RegisterScope{3})); }));
}

TEST(Group, ListsPropertiesAndGroupsOfAllScopesOnce) {
    write("a/y", 1);
    write("a/y", 1, SCOPE_GLOBAL);
    write("a/x", 1, SCOPE_TEMPORARY);
    write("a/g/x", 1);
    write("a/h/x", 1, SCOPE_GLOBAL);
    EXPECT_THAT(Group("a").properties(), ElementsAre("x", "y"));
    EXPECT_THAT(Group("a").groups(), ElementsAre("g", "h"));
}

TEST(Group, ListsOneScope) {
    write("a/x", 1);
    write("a/y", 1, SCOPE_GLOBAL);
    write("a/g/x", 1, SCOPE_GLOBAL);
    EXPECT_THAT(Group("a").properties(SCOPE_USER), ElementsAre("x"));
    EXPECT_THAT(Group("a").properties(SCOPE_GLOBAL), ElementsAre("y"));
    EXPECT_THAT(Group("a").groups(SCOPE_USER), IsEmpty());
    EXPECT_THAT(Group("a").groups(SCOPE_GLOBAL), ElementsAre("g"));
}

TEST(Group, OfAllListsTheFirstLevels) {
    write("b/x", 1, SCOPE_GLOBAL);
    write("a", 1, SCOPE_GLOBAL);
    EXPECT_THAT(Group().properties(SCOPE_GLOBAL), ElementsAre("a"));
    EXPECT_THAT(Group().groups(SCOPE_GLOBAL), ElementsAre("b"));
}

TEST(Group, ReadsAndWritesUnderItsName) {
    Group const group("a");
    group.write("x", 1);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, group.read<int>("x"));
    EXPECT_EQ(2, group.read("y", 2));
}

TEST(Group, ContainsPropertiesAndGroups) {
    write("a/g/x", 1, SCOPE_GLOBAL);
    EXPECT_TRUE(Group("a").contains("g"));
    EXPECT_TRUE(Group("a").contains("g/x"));
    EXPECT_TRUE(Group("a").contains("g", SCOPE_GLOBAL));
    EXPECT_FALSE(Group("a").contains("g", SCOPE_USER));
    EXPECT_FALSE(Group("a").contains("h"));
}

TEST(Remove, AnnouncesEachPropertyOnceAllAreRemoved) {
    write("a/g/x", 1);
    write("a/g/y", 1);
    std::vector<std::string> names;
    Listener const listener{"a", [&names](std::string const& name) {
                                names.push_back(name);
                                EXPECT_FALSE(isInUserScope("a"));
                            }};
    Group("a/g").remove();
    EXPECT_THAT(names, ElementsAre("a/g/x", "a/g/y"));
}

TEST(Remove, SkipsTheSender) {
    write("a/x", 1);
    int sender = 0;
    int calls = 0;
    Listener const listener{"a", [&calls](std::string const&) { ++calls; }, &sender};
    Group("a").remove(&sender);
    EXPECT_EQ(0, calls);
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Remove, RemovesOnePropertyOrGroup) {
    write("a/g/x", 1);
    write("a/y", 1);
    write("a/z", 1);
    Group("a").remove("y");
    EXPECT_THAT(Group("a").properties(), ElementsAre("z"));
    Group("a").remove("g");
    EXPECT_THAT(Group("a").groups(), IsEmpty());
}

TEST(Remove, KeepsTheOtherScopes) {
    write("a/x", 1);
    write("a/x", 2, SCOPE_GLOBAL);
    Group("a").remove();
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST(Remove, OfAllKeepsTheScope) {
    write("a/x", 1);
    write("y", 1);
    Group().remove();
    EXPECT_THAT(Group().properties(SCOPE_USER), IsEmpty());
    EXPECT_THAT(Group().groups(SCOPE_USER), IsEmpty());
    write("a/x", 2);
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST(Remove, OfAGroupRemovesItsEmptyGroupsToo) {
    _Register::getInstance()->addGroup("a/g/empty", SCOPE_USER);
    Group("a/g").remove();
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Remove, OfAMissingNameChangesNothing) {
    write("a/x", 1);
    Heard heard;
    Group("a/g").remove();
    Group("a").remove("y");
    EXPECT_THAT(heard.names, IsEmpty());
    EXPECT_TRUE(isInUserScope("a/x"));
}

TEST(Remove, IsDoneEvenIfAListenerThrows) {
    write("a/x", 1);
    Listener const throwing{"a", [](std::string const&) { throw utils::Exception("from the listener"); }};
    EXPECT_EQ("from the listener", failure([] { Group("a").remove(); }));
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Copy, HasTheUsersValuesOrOtherwiseTheGlobalOnes) {
    write("a/one/x", 1);
    write("a/one/x", 9, SCOPE_GLOBAL);
    write("a/one/g/y", "text", SCOPE_GLOBAL);
    Heard heard;
    EXPECT_EQ("a/two", Group("a/one").copy("a/two/").name());
    EXPECT_THAT(heard.names, ElementsAre("a/two/g/y", "a/two/x"));
    EXPECT_EQ(1, read<int>("a/two/x"));
    EXPECT_EQ("text", read<std::string>("a/two/g/y"));
    EXPECT_TRUE(isInUserScope("a/two/g/y"));
    EXPECT_EQ(1, read<int>("a/one/x"));
}

TEST(Copy, OmitsTemporaryValues) {
    write("a/one/x", 1, SCOPE_TEMPORARY);
    write("a/one/y", 1);
    Group("a/one").copy("a/two");
    EXPECT_THAT(Group("a/two").properties(), ElementsAre("y"));
}

TEST(Copy, PrefersTheUserScopeIfANameIsAPropertyInOneScopeAndAGroupInTheOther) {
    write("a/one/x", 1);
    write("a/one/x/y", 2, SCOPE_GLOBAL);
    write("a/one/z/y", 1);
    write("a/one/z", 2, SCOPE_GLOBAL);
    Group("a/one").copy("a/two");
    EXPECT_EQ(1, read<int>("a/two/x"));
    EXPECT_THAT(Group("a/two").properties(), ElementsAre("x"));
    EXPECT_EQ(1, read<int>("a/two/z/y"));
}

TEST(Copy, IncludesAGlobalGroupThatIsAPropertyInTheUserScope) {
    write("a/one", 1);
    write("a/one/x", 2, SCOPE_GLOBAL);
    Group("a/one").copy("a/two");
    EXPECT_EQ(2, read<int>("a/two/x"));
}

TEST(Copy, RefusesExistingAndInvalidNames) {
    write("a/one/x", 1);
    write("a/two/x", 2, SCOPE_GLOBAL);
    EXPECT_EQ("cannot copy \"a/one\" to \"a/two\": \"a/two\" already exists",
              failure([] { Group("a/one").copy("a/two"); }));
    EXPECT_EQ("cannot copy \"a/one\" to \"a/one\": \"a/one\" already exists",
              failure([] { Group("a/one").copy("/a/one"); }));
    EXPECT_EQ("cannot copy \"a/one\" to \"a\": \"a\" already exists",
              failure([] { Group("a/one").copy("a"); }));
    EXPECT_EQ("cannot copy \"a/one\" to \"a/one/in\": the new name is inside the group",
              failure([] { Group("a/one").copy("a/one/in"); }));
    EXPECT_EQ("cannot copy the group of all settings to \"b\": the new name is inside the group",
              failure([] { Group().copy("b"); }));
    EXPECT_EQ("the name is empty", failure([] { Group("a/one").copy(""); }));
    EXPECT_FALSE(isInUserScope("a/two"));
    EXPECT_FALSE(isInUserScope("b"));
}

TEST(Copy, IntoAPropertyIsRefusedAndHasNoEffect) {
    write("a/one/x", 1);
    write("b/y", 1);
    EXPECT_EQ("cannot write \"b/y/z/x\": \"b/y\" is a property",
              failure([] { Group("a/one").copy("b/y/z"); }));
    EXPECT_EQ(1, read<int>("b/y"));
}

TEST(Copy, MayHaveANameThatBeginsWithTheNameOfTheGroup) {
    write("a/one/x", 1);
    Group("a/one").copy("a/one two");
    EXPECT_EQ(1, read<int>("a/one two/x"));
}

TEST(Copy, OfAnEmptyGroupCreatesNothing) {
    Group("a/one").copy("a/two");
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Remove, AcceptsACharacterPointerAsAName) {
    write("a/x", 1);
    write("a/y", 1);
    std::string name("x");
    Group("a").remove(name.data());
    EXPECT_FALSE(isInUserScope("a/x"));
    EXPECT_TRUE(isInUserScope("a/y"));
}

TEST(Remove, RefusesAnEmptyName) {
    write("a/x", 1);
    EXPECT_EQ("cannot remove from \"a\": the name is empty", failure([] { Group("a").remove("/"); }));
    EXPECT_TRUE(isInUserScope("a/x"));
}

TEST(Rename, RefusesToRemoveAUsersValueThatIsLocked) {
    write("a/one/x", 1);
    write("a/one/y", 1);
    write("velmorand/locked", std::vector<std::string>{"a/one/x"}, SCOPE_GLOBAL);
    EXPECT_EQ("cannot rename \"a/one\" to \"a/two\": \"a/one/x\": the administrator has locked it",
              failure([] { Group("a/one").rename("a/two"); }));
    EXPECT_TRUE(isInUserScope("a/one/x"));
    EXPECT_TRUE(isInUserScope("a/one/y"));
    EXPECT_FALSE(isInUserScope("a/two"));
}

TEST(Rename, MovesTheUsersSettings) {
    write("a/one/x", 1);
    Heard heard;
    EXPECT_EQ("a/two", Group("a/one").rename("a/two").name());
    EXPECT_THAT(heard.names, ElementsAre("a/one/x", "a/two/x"));
    EXPECT_EQ(1, read<int>("a/two/x"));
    EXPECT_FALSE(isInUserScope("a/one"));
}

TEST(Rename, CopiesGlobalSettings) {
    write("a/one/x", 1);
    write("a/one/y", 2, SCOPE_GLOBAL);
    Group("a/one").rename("a/two");
    EXPECT_THAT(Group("a/two").properties(SCOPE_USER), ElementsAre("x", "y"));
    EXPECT_THAT(Group("a/one").properties(), ElementsAre("y"));
}

TEST(Rename, RemovesGroupsThatBecomeEmpty) {
    write("a/deep/one/x", 1);
    Group("a/deep/one").rename("b");
    EXPECT_FALSE(isInUserScope("a"));
}

TEST(Rename, ToTheSameNameDoesNothing) {
    write("a/one/x", 1);
    Heard heard;
    EXPECT_EQ("a/one", Group("a/one").rename("a//one").name());
    EXPECT_THAT(heard.names, IsEmpty());
    EXPECT_EQ(1, read<int>("a/one/x"));
}

TEST(Rename, RefusesAnExistingName) {
    write("a/one/x", 1);
    write("a/two", 2);
    EXPECT_EQ("cannot rename \"a/one\" to \"a/two\": \"a/two\" already exists",
              failure([] { Group("a/one").rename("a/two"); }));
    EXPECT_EQ("cannot rename \"a/one\" to \"a/one/in\": the new name is inside the group",
              failure([] { Group("a/one").rename("a/one/in"); }));
    EXPECT_EQ(1, read<int>("a/one/x"));
}

TEST(Rename, SkipsTheSender) {
    write("a/one/x", 1);
    int sender = 0;
    int calls = 0;
    Listener const listener{"a", [&calls](std::string const&) { ++calls; }, &sender};
    Group("a/one").rename("a/two", &sender);
    EXPECT_EQ(0, calls);
}
