// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "register/Scopes.h"
#include "support/Failure.h"
#include "values/Forms.h"

using support::failure;

namespace {

template <class Form>
class AddGroup : public forms::Test<Form> {};
TYPED_TEST_SUITE(AddGroup, forms::Both, forms::Names);

template <class Form>
class GroupExists : public forms::Test<Form> {};
TYPED_TEST_SUITE(GroupExists, forms::Both, forms::Names);

template <class Form>
class PropertyList : public forms::Test<Form> {};
TYPED_TEST_SUITE(PropertyList, forms::Both, forms::Names);

} // namespace

TYPED_TEST(AddGroup, CreatesTheMissingGroups) {
    this->settings.addGroup("a/b/q", SCOPE_USER);
    EXPECT_TRUE(this->settings.groupExists("a", SCOPE_USER));
    EXPECT_TRUE(this->settings.groupExists("a/b", SCOPE_USER));
    EXPECT_TRUE(this->settings.groupExists("a/b/q", SCOPE_USER));
}

TYPED_TEST(AddGroup, ChangesNothingTheSecondTime) {
    this->settings.addProperty("a/b/x", SCOPE_USER);
    this->settings.addGroup("a/b", SCOPE_USER);
    this->settings.addGroup("a", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("a/b/x", SCOPE_USER));
}

TYPED_TEST(AddGroup, IsSilentWhenAPropertyIsInTheWay) {
    this->settings.addProperty("x", SCOPE_USER);
    this->settings.addGroup("x/y/z", SCOPE_USER);
    EXPECT_FALSE(this->settings.propertyExists("x/y", SCOPE_USER));
    EXPECT_FALSE(this->settings.groupExists("x", SCOPE_USER));
}

TYPED_TEST(AddGroup, CreatesTheGroupOnlyInItsScope) {
    this->settings.addGroup("a", SCOPE_TEMPORARY);
    EXPECT_TRUE(this->settings.groupExists("a", SCOPE_TEMPORARY));
    EXPECT_FALSE(this->settings.groupExists("a", SCOPE_USER));
    EXPECT_FALSE(this->settings.groupExists("a", SCOPE_GLOBAL));
}

TYPED_TEST(AddGroup, DoesNothingForAPropertyOfThatName) {
    this->settings.addProperty("x", SCOPE_USER);
    this->settings.addGroup("x", SCOPE_USER);
    EXPECT_FALSE(this->settings.groupExists("x", SCOPE_USER));
    EXPECT_TRUE(this->settings.propertyExists("x", SCOPE_USER));
}

TYPED_TEST(AddGroup, CreatesADeletedScopeAgain) {
    for (RegisterScope const scope : allScopes) {
        this->settings.delProperty("", scope);
        this->settings.addGroup("", scope);
        EXPECT_TRUE(this->settings.groupExists("", scope));
    }
}

TYPED_TEST(AddGroup, CreatesADeletedScopeAgainForAGroupInIt) {
    for (RegisterScope const scope : allScopes) {
        this->settings.delProperty("", scope);
        this->settings.addGroup("a/b", scope);
        EXPECT_TRUE(this->settings.groupExists("a/b", scope));
    }
}

TYPED_TEST(GroupExists, WithoutScopeSearchesAllScopes) {
    for (RegisterScope const scope : allScopes) {
        EXPECT_FALSE(this->settings.groupExists("g"));
        this->settings.addGroup("g", scope);
        EXPECT_TRUE(this->settings.groupExists("g"));
        this->settings.delProperty("g", scope);
    }
}

TYPED_TEST(GroupExists, IsFalseForAProperty) {
    this->settings.addProperty("g/x", SCOPE_USER);
    EXPECT_FALSE(this->settings.groupExists("g/x", SCOPE_USER));
    EXPECT_FALSE(this->settings.groupExists("g/x"));
    EXPECT_TRUE(this->settings.groupExists("g", SCOPE_USER));
}

TYPED_TEST(GroupExists, IsTrueForTheScopesThemselves) {
    for (RegisterScope const scope : allScopes)
        EXPECT_TRUE(this->settings.groupExists("", scope));
}

TYPED_TEST(GroupExists, WithoutScopeSkipsAPropertyOfThatName) {
    this->settings.addProperty("g", SCOPE_GLOBAL);
    this->settings.addGroup("g", SCOPE_TEMPORARY);
    EXPECT_TRUE(this->settings.groupExists("g"));
}

TYPED_TEST(PropertyList, ListsTheEntriesOfTheGroupInOrder) {
    this->settings.addProperty("g/x", SCOPE_USER);
    this->settings.addProperty("g/sub/deeper", SCOPE_USER);
    EXPECT_EQ((Names{"sub", "x"}), names(this->settings.propertyList("g", SCOPE_USER)));
}

TYPED_TEST(PropertyList, IsEmptyForAnEmptyGroup) {
    this->settings.addGroup("g", SCOPE_USER);
    EXPECT_EQ(Names{}, names(this->settings.propertyList("g", SCOPE_USER)));
}

TYPED_TEST(PropertyList, ListsAWholeScopeUnderTheEmptyName) {
    this->settings.addProperty("x", SCOPE_TEMPORARY);
    this->settings.addProperty("g/y", SCOPE_TEMPORARY);
    EXPECT_EQ((Names{"g", "x"}), names(this->settings.propertyList("", SCOPE_TEMPORARY)));
}

TYPED_TEST(PropertyList, ListsOnlyTheGivenScope) {
    this->settings.addProperty("g/x", SCOPE_GLOBAL);
    EXPECT_EQ("g does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("g", SCOPE_USER); }));
}

TYPED_TEST(PropertyList, ReportsAMissingGroup) {
    EXPECT_EQ("missing does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("missing", SCOPE_TEMPORARY); }));
    EXPECT_EQ("a/b does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("a/b", SCOPE_USER); }));
}

TYPED_TEST(PropertyList, ReportsAPropertyInPlaceOfAGroup) {
    this->settings.addProperty("g/x", SCOPE_USER);
    EXPECT_EQ("g/x does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("g/x", SCOPE_USER); }));
}

TYPED_TEST(PropertyList, ReportsADeletedScope) {
    this->settings.delProperty("", SCOPE_USER);
    EXPECT_EQ(" does not exist or is not a group.",
              failure([&] { (void)this->settings.propertyList("", SCOPE_USER); }));
}
