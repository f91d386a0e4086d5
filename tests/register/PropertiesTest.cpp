// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "register/Scopes.h"
#include "support/Failure.h"
#include "values/Forms.h"

using filesystem::FileHandle;
using filesystem::FileSystem;
using support::failure;

namespace {

template <class Form>
class AddProperty : public forms::Test<Form> {};
TYPED_TEST_SUITE(AddProperty, forms::Both, forms::Names);

template <class Form>
class DelProperty : public forms::Test<Form> {};
TYPED_TEST_SUITE(DelProperty, forms::Both, forms::Names);

template <class Form>
class PropertyExists : public forms::Test<Form> {};
TYPED_TEST_SUITE(PropertyExists, forms::Both, forms::Names);

template <class Form>
class OpenProperty : public forms::Test<Form> {};
TYPED_TEST_SUITE(OpenProperty, forms::Both, forms::Names);

template <class Form>
class LocateProperty : public forms::Test<Form> {};
TYPED_TEST_SUITE(LocateProperty, forms::Both, forms::Names);

} // namespace

TYPED_TEST(AddProperty, CreatesTheGroupsAndAnEmptyFile) {
    this->settings.addProperty("a/b/x", SCOPE_GLOBAL);
    EXPECT_TRUE(this->settings.groupExists("a", SCOPE_GLOBAL));
    EXPECT_TRUE(this->settings.groupExists("a/b", SCOPE_GLOBAL));
    EXPECT_EQ("", forms::content(this->settings, "/global/a/b/x"));
}

TYPED_TEST(AddProperty, CreatesAPropertyDirectlyInTheScope) {
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ("", forms::content(this->settings, "/user/x"));
}

TYPED_TEST(AddProperty, DoesNotChangeAnExistingProperty) {
    forms::store(this->settings, "/user/x", "I*");
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ("I*", forms::content(this->settings, "/user/x"));
}

TYPED_TEST(AddProperty, RecordsNoChange) {
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_TRUE(forms::pending(this->settings).empty());
}

TYPED_TEST(AddProperty, DoesNothingForAGroupOfThatName) {
    this->settings.addProperty("g/x", SCOPE_USER);
    this->settings.addProperty("g", SCOPE_USER);
    EXPECT_TRUE(this->settings.groupExists("g", SCOPE_USER));
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_USER));
}

TYPED_TEST(AddProperty, IsSilentWhenAPropertyIsInTheWayOfItsGroup) {
    this->settings.addProperty("x", SCOPE_USER);
    this->settings.addProperty("x/y", SCOPE_USER);
    EXPECT_FALSE(this->settings.propertyExists("x/y"));
    EXPECT_FALSE(this->settings.groupExists("x"));
}

TYPED_TEST(AddProperty, CreatesADeletedScopeAgain) {
    for (RegisterScope const scope : allScopes) {
        this->settings.delProperty("", scope);
        this->settings.addProperty("a/x", scope);
        this->settings.addProperty("y", scope);
        EXPECT_EQ((Names{"a", "y"}), names(this->settings.propertyList("", scope)));
    }
}

TYPED_TEST(DelProperty, RemovesAProperty) {
    this->settings.addProperty("g/x", SCOPE_USER);
    this->settings.delProperty("g/x", SCOPE_USER);
    EXPECT_FALSE(this->settings.propertyExists("g/x", SCOPE_USER));
    EXPECT_TRUE(this->settings.groupExists("g", SCOPE_USER));
}

TYPED_TEST(DelProperty, RecordsNoChange) {
    this->settings.addProperty("x", SCOPE_USER);
    this->settings.delProperty("x", SCOPE_USER);
    EXPECT_TRUE(forms::pending(this->settings).empty());
}

TYPED_TEST(DelProperty, DoesNothingForAMissingName) {
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ("nothing", failure([&] {
                  this->settings.delProperty("g/y", SCOPE_USER);
                  this->settings.delProperty("x/y", SCOPE_USER);
              }));
    EXPECT_EQ((Names{"x"}), names(this->settings.propertyList("", SCOPE_USER)));
}

TYPED_TEST(DelProperty, RemovesItOnlyFromItsScope) {
    this->settings.addProperty("x", SCOPE_GLOBAL);
    this->settings.addProperty("x", SCOPE_USER);
    this->settings.delProperty("x", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("x", SCOPE_GLOBAL));
    EXPECT_FALSE(this->settings.propertyExists("x", SCOPE_USER));
}

TYPED_TEST(DelProperty, RemovesAGroupWithItsContents) {
    this->settings.addProperty("g/sub/x", SCOPE_USER);
    this->settings.delProperty("g", SCOPE_USER);
    EXPECT_FALSE(this->settings.propertyExists("g"));
    EXPECT_FALSE(this->settings.propertyExists("g/sub/x"));
    this->settings.addGroup("g", SCOPE_USER);
    EXPECT_EQ(Names{}, names(this->settings.propertyList("g", SCOPE_USER)));
}

TYPED_TEST(DelProperty, RemovesAWholeScopeUnderTheEmptyName) {
    for (RegisterScope const scope : allScopes)
        this->settings.addProperty("g/x", scope);
    this->settings.delProperty("", SCOPE_USER);
    EXPECT_FALSE(this->settings.groupExists("", SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists("g/x", SCOPE_USER));
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_GLOBAL));
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_TEMPORARY));
}

TYPED_TEST(PropertyExists, IsTrueOnlyInTheScopeOfTheProperty) {
    this->settings.addProperty("g/x", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("g/x", SCOPE_USER));
    EXPECT_FALSE(this->settings.propertyExists("g/x", SCOPE_GLOBAL));
    EXPECT_FALSE(this->settings.propertyExists("g/x", SCOPE_TEMPORARY));
}

TYPED_TEST(PropertyExists, IsTrueForAGroup) {
    this->settings.addGroup("g", SCOPE_USER);
    EXPECT_TRUE(this->settings.propertyExists("g", SCOPE_USER));
    EXPECT_TRUE(this->settings.propertyExists("g"));
}

TYPED_TEST(PropertyExists, WithoutScopeFindsTheTemporaryOne) {
    this->settings.addProperty("x", SCOPE_TEMPORARY);
    EXPECT_TRUE(this->settings.propertyExists("x"));
}

TYPED_TEST(OpenProperty, ReturnsAHandleOfTheRecord) {
    forms::store(this->settings, "/user/x", "Sabc");
    FileHandle* const handle = this->settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER);
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ("Sabc", this->settings.readBytes(handle, 10));
    this->settings.closeProperty(*handle);
}

TYPED_TEST(OpenProperty, CreatesAMissingPropertyWhenOpenedForWriting) {
    this->settings.addGroup("g", SCOPE_USER);
    FileHandle* const handle = this->settings.openProperty("g/x", FileSystem::MODE_WRITE, SCOPE_USER);
    ASSERT_NE(nullptr, handle);
    this->settings.writeByte(handle, 'B');
    this->settings.closeProperty(*handle);
    EXPECT_EQ("B", forms::content(this->settings, "/user/g/x"));
}

TYPED_TEST(OpenProperty, ReportsThatTheGroupDoesNotExist) {
    EXPECT_EQ("Group nogroup does not exist !", failure([&] {
                  (void)this->settings.openProperty("nogroup/x", FileSystem::MODE_READ, SCOPE_USER);
              }));
    EXPECT_EQ("Group a/b does not exist !", failure([&] {
                  (void)this->settings.openProperty("a/b/x", FileSystem::MODE_WRITE, SCOPE_USER);
              }));
}

TYPED_TEST(OpenProperty, ReportsThatAPropertyIsNotAGroup) {
    this->settings.addProperty("x", SCOPE_USER);
    EXPECT_EQ("Group x does not exist !",
              failure([&] { (void)this->settings.openProperty("x/y", FileSystem::MODE_READ, SCOPE_USER); }));
}

TYPED_TEST(OpenProperty, AcceptsAGroupOfAnotherScope) {
    this->settings.addGroup("g", SCOPE_GLOBAL);
    EXPECT_EQ("Cannot open property named g/x !",
              failure([&] { (void)this->settings.openProperty("g/x", FileSystem::MODE_READ, SCOPE_USER); }));
    EXPECT_EQ("Cannot open property named g/x !",
              failure([&] { (void)this->settings.openProperty("g/x", FileSystem::MODE_WRITE, SCOPE_USER); }));
}

TYPED_TEST(OpenProperty, ReportsThatItCannotOpenAMissingProperty) {
    EXPECT_EQ("Cannot open property named x !",
              failure([&] { (void)this->settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER); }));
}

TYPED_TEST(OpenProperty, ReportsThatItCannotOpenAGroup) {
    this->settings.addGroup("g", SCOPE_USER);
    EXPECT_EQ("Cannot open property named g !",
              failure([&] { (void)this->settings.openProperty("g", FileSystem::MODE_WRITE, SCOPE_USER); }));
    EXPECT_EQ("Cannot open property named  !",
              failure([&] { (void)this->settings.openProperty("", FileSystem::MODE_READ, SCOPE_USER); }));
}

TYPED_TEST(OpenProperty, ChecksTheGroupBeforeTheScope) {
    EXPECT_EQ("Group nogroup does not exist !", failure([&] {
                  (void)this->settings.openProperty("nogroup/x", FileSystem::MODE_READ, badScope);
              }));
    this->settings.addGroup("g", SCOPE_USER);
    EXPECT_EQ("Bad scope value.",
              failure([&] { (void)this->settings.openProperty("g/x", FileSystem::MODE_READ, badScope); }));
}

TYPED_TEST(OpenProperty, ReportsThatNoScopeIsLeft) {
    for (RegisterScope const scope : allScopes)
        this->settings.delProperty("", scope);
    EXPECT_EQ("Group  does not exist !",
              failure([&] { (void)this->settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER); }));
}

TYPED_TEST(LocateProperty, FindsTheUserThenTheGlobalThenTheTemporaryScope) {
    for (RegisterScope const scope : allScopes)
        this->settings.addProperty("g/x", scope);
    EXPECT_EQ("/user/g/x", this->settings._locateProperty("g/x"));
    this->settings.delProperty("g/x", SCOPE_USER);
    EXPECT_EQ("/global/g/x", this->settings._locateProperty("g/x"));
    this->settings.delProperty("g/x", SCOPE_GLOBAL);
    EXPECT_EQ("/temp/g/x", this->settings._locateProperty("g/x"));
    this->settings.delProperty("g/x", SCOPE_TEMPORARY);
    EXPECT_EQ("PropertyNotFound", failure([&] { (void)this->settings._locateProperty("g/x"); }));
}
